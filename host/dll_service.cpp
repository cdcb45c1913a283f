#include "format.h"
#include "no_throw.h"
#include "nuvra/host/dynamic_library.h"
#include "nuvra/host/file_name.h"
#include "services.h"
#include "settings.h"
#include "tracing/recorder.h"
#include "url_service.h"

namespace nuvra {

class DllImpl : public ObjectHeader {
public:
    String name;  ///< as requested
    host::DynamicLibrary library;
};

}  // namespace nuvra

namespace nuvra::host {

namespace {

void Destroy(DllImpl* library) noexcept {
    DeleteHostObject(library);
}

/// The file to open for `name`: the redirect where there is one.
std::string Resolve(const std::string& name, bool searchSystem) {
    const auto& redirects = GetSettings().redirects;
    const auto redirect = redirects.find(name);
    if (redirect != redirects.end()) return redirect->second;
    return searchSystem ? name : ToText(std::filesystem::absolute(ToPath(name)));
}

Result<DllRef> Load(const UrlRef& url, Bool searchSystem) noexcept {
    return WithoutExceptions([&]() -> Result<DllRef> {
        if (!url) return NullPointerError();
        const String name = url.GetPath();
        if (name.IsEmpty()) return MakeError("a library without a name cannot be opened", {});
        DllRef library(NewHostObject<DllImpl>());
        if (!library) return OutOfMemoryError();
        library.Get()->name = name;

        const std::string asked(name.GetView());
        const std::string file = Resolve(asked, searchSystem);
        std::string reason;
        library.Get()->library = DynamicLibrary::Open(file, LibraryUse::RUNTIME, reason);
        if (library.Get()->library.IsOpen()) return library;
        if (file == asked) return MakeError("cannot open the library \"@\": @", {file, reason});
        return MakeError("cannot open the library \"@\" in place of \"@\": @", {file, asked, reason});
    });
}

Result<void*> FindSymbol(DllImpl* library, const CString& name) noexcept {
    return WithoutExceptions([&]() -> Result<void*> {
        if (!library->library.IsOpen())
            return MakeError("the library \"@\" is closed", {library->name.GetView()});
        std::string reason;
        void* address = library->library.Find(name.GetChars(), reason);
        if (address == nullptr)
            return MakeError("the library \"@\" has no \"@\": @",
                             {library->name.GetView(), name.GetView(), reason});
        if (const auto& tracing = GetSettings().tracing)
            GetRecorder(*tracing).NoteSymbol(name.GetView(), address);
        return address;
    });
}

Result<void> Free(DllImpl* library) noexcept {
    return WithoutExceptions([&]() -> Result<void> {
        if (!library->library.IsOpen())
            return MakeError("the library \"@\" is closed", {library->name.GetView()});
        library->library.Close();
        return {};
    });
}

}  // namespace

constinit const DllInterface::Operations kDllOperations{Destroy, Load, FindSymbol, Free};

}  // namespace nuvra::host
