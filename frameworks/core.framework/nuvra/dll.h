#pragma once

#include "nuvra/string.h"

namespace nuvra {

class UrlImpl;
class DllImpl;
class UrlRef;
class DllRef;

/// Where something is: a scheme and a path.
struct UrlInterface {
    static constexpr Id kId{"nuvra.UrlInterface#1"};
    static constexpr const char* kHeader = "nuvra/dll.h";
    static constexpr bool kOptional = false;
    using Object = UrlImpl;

    struct Operations {
        void (*Destroy)(UrlImpl* url);
        Result<UrlRef> (*Create)();
        /// "relative": whoever opens the path resolves it, for example the system's library search.
        Result<void> (*SetScheme)(UrlImpl* url, const Id& scheme);
        Result<void> (*SetPath)(UrlImpl* url, const String& path);
        String (*GetPath)(const UrlImpl* url);
    };
};

class UrlRef : public ObjectRef<UrlInterface> {
public:
    using ObjectRef::ObjectRef;
    UrlRef() = default;

    static Result<UrlRef> Create() { return InvokeStatic<UrlInterface, &UrlInterface::Operations::Create>(); }
    Result<void> SetScheme(const Id& scheme) const {
        return Invoke<&UrlInterface::Operations::SetScheme>(scheme);
    }
    Result<void> SetPath(const String& path) const {
        return Invoke<&UrlInterface::Operations::SetPath>(path);
    }
    String GetPath() const { return Invoke<&UrlInterface::Operations::GetPath>(); }
};

/// Dynamic libraries. An object holds its library open; releasing the last reference closes it.
struct DllInterface {
    static constexpr Id kId{"nuvra.DllInterface#1"};
    static constexpr const char* kHeader = "nuvra/dll.h";
    static constexpr bool kOptional = false;
    using Object = DllImpl;

    struct Operations {
        void (*Destroy)(DllImpl* library);
        /// Opens the library; `searchSystem` lets a bare file name be found by the system's library search,
        /// on Windows in the system's folder alone. The error names the library and says why.
        Result<DllRef> (*Load)(const UrlRef& url, Bool searchSystem);
        /// The address of an exported name; the error names it and the library.
        Result<void*> (*FindSymbol)(DllImpl* library, const CString& name);
        /// Closes the library now; its symbols must no longer be used.
        Result<void> (*Free)(DllImpl* library);
    };
};

class DllRef : public ObjectRef<DllInterface> {
public:
    using ObjectRef::ObjectRef;
    DllRef() = default;

    static Result<DllRef> Load(const UrlRef& url, Bool searchSystem) {
        return InvokeStatic<DllInterface, &DllInterface::Operations::Load>(url, searchSystem);
    }
    Result<void*> FindSymbol(const CString& name) const {
        return Invoke<&DllInterface::Operations::FindSymbol>(name);
    }
    Result<void> Free() const { return Invoke<&DllInterface::Operations::Free>(); }
};

}  // namespace nuvra
