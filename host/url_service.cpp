#include "url_service.h"

#include "services.h"

namespace nuvra::host {

namespace {

void Destroy(UrlImpl* url) noexcept {
    DeleteHostObject(url);
}

Result<UrlRef> Create() noexcept {
    auto* url = NewHostObject<UrlImpl>();
    if (url == nullptr) return OutOfMemoryError();
    return UrlRef(url);
}

/// The id is copied: its text may be a literal of a library that is unloaded before the URL is released.
Result<void> SetScheme(UrlImpl* url, const Id& scheme) noexcept {
    Id copy = Id::Own(scheme.GetText(), kSystemOperations.Allocate, kSystemOperations.Free);
    if (copy.IsEmpty() && !scheme.IsEmpty()) return OutOfMemoryError();
    url->scheme = std::move(copy);
    return {};
}

Result<void> SetPath(UrlImpl* url, const String& path) noexcept {
    url->path = path;
    return {};
}

String GetPath(const UrlImpl* url) noexcept {
    return url->path;
}

}  // namespace

constinit const UrlInterface::Operations kUrlOperations{Destroy, Create, SetScheme, SetPath, GetPath};

}  // namespace nuvra::host
