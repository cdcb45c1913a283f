#include "nuvra/opencl_interface.h"

#include "nuvra/dll.h"
#include "nuvra/opencl_interface_platform.h"
#include "nuvra/opencl_interface_trace.h"

namespace nuvra {

constinit OpenCLInterface g_openCL;
constinit bool g_isOpenCLLoaded = false;

namespace {

constinit DllRef g_library;

enum class Presence { REQUIRED, LAST, OPTIONAL };

struct Entry {
    Presence presence;
    const char* name;
    void (*store)(void* address);
};

constexpr Entry kEntries[] = {
#define OPENCL_ENTRY(presence, name, before, after) \
    {Presence::presence, #name,                     \
     [](void* address) { g_openCL.name = reinterpret_cast<decltype(&::name)>(address); }},
#include "nuvra/opencl_entries.def"
#undef OPENCL_ENTRY
};

Result<DllRef> OpenLibrary() {
    NUVRA_ASSIGN_OR_RETURN(const String path, String::FromCText(kOpenCLLibraryName));
    NUVRA_ASSIGN_OR_RETURN(const UrlRef url, UrlRef::Create());
    NUVRA_RETURN_IF_ERROR(url.SetScheme("relative"));
    NUVRA_RETURN_IF_ERROR(url.SetPath(path));
    return DllRef::Load(url, true);
}

/// Finds the functions of one presence, in table order.
Result<void> Bind(const DllRef& library, Presence presence) {
    for (const Entry& entry : kEntries) {
        if (entry.presence != presence) continue;
        NUVRA_ASSIGN_OR_RETURN(const CString name, CString::FromText(entry.name));
        const Result<void*> address = library.FindSymbol(name);
        if (presence == Presence::REQUIRED) NUVRA_RETURN_IF_ERROR(address);
        entry.store(address.IsOk() ? address.GetValue() : nullptr);
    }
    return {};
}

}  // namespace

Result<void> LoadOpenCLLibrary() {
    if (g_library) return {};
    NUVRA_ASSIGN_OR_RETURN(DllRef library, OpenLibrary());
    for (const Presence presence : {Presence::REQUIRED, Presence::LAST, Presence::OPTIONAL})
        NUVRA_RETURN_IF_ERROR(Bind(library, presence));
    g_isOpenCLLoaded = true;
    g_library = std::move(library);
    ConnectTracer();
    return {};
}

void FreeOpenCLLibrary() {
    g_tracer = nullptr;
    if (!g_library) return;
    static_cast<void>(g_library.Free());
    g_library = nullptr;
}

}  // namespace nuvra
