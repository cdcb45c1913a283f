#include "nuvra/opencl_interface.h"

#include "nuvra/dll.h"
#include "nuvra/opencl_interface_platform.h"
#include "nuvra/opencl_interface_trace.h"

namespace nuvra {

constinit OpenCLInterface g_openCL;
constinit bool g_isOpenCLLoaded = false;

namespace {

/// A raw pointer, freed by FreeOpenCLLibrary. A static `DllRef` would unload the runtime at exit while the
/// program may still hold OpenCL objects.
constinit DllImpl* g_library = nullptr;

enum class Presence { REQUIRED, LAST, OPTIONAL };

struct Entry {
    Presence presence;
    const char* name;
    void (*store)(void* address);
};

constexpr Entry kEntries[] = {
#define OPENCL_FUNCTION(presence, name, effect, before, after) \
    {Presence::presence, #name,                                \
     [](void* address) { g_openCL.name = reinterpret_cast<decltype(&::name)>(address); }},
#include "nuvra/opencl_functions.def"
};

Result<DllRef> OpenLibrary() {
    NUVRA_ASSIGN_OR_RETURN(const String path, String::FromCText(NUVRA_RUNTIME_NAME));
    NUVRA_ASSIGN_OR_RETURN(const UrlRef url, UrlRef::Create());
    NUVRA_RETURN_IF_ERROR(url.SetScheme("relative"));
    NUVRA_RETURN_IF_ERROR(url.SetPath(path));
    return DllRef::Load(url, true);
}

Result<void*> FindFunction(const DllRef& library, const char* name) {
    NUVRA_ASSIGN_OR_RETURN(const CString symbol, CString::FromText(name));
    return library.FindSymbol(symbol);
}

/// Finds the functions of one presence, in table order.
Result<void> Bind(const DllRef& library, Presence presence) {
    for (const Entry& entry : kEntries) {
        if (entry.presence != presence) continue;
        const Result<void*> address = FindFunction(library, entry.name);
        if (presence == Presence::REQUIRED) NUVRA_RETURN_IF_ERROR(address);
        entry.store(address.IsOk() ? address.GetValue() : nullptr);
    }
    return {};
}

}  // namespace

Result<void> LoadOpenCLLibrary() {
    if (g_library != nullptr) return {};
    NUVRA_ASSIGN_OR_RETURN(DllRef library, OpenLibrary());
    for (const Presence presence : {Presence::REQUIRED, Presence::LAST, Presence::OPTIONAL})
        NUVRA_RETURN_IF_ERROR(Bind(library, presence));
    g_isOpenCLLoaded = true;
    g_library = library.Detach();
    ConnectTracer();
    return {};
}

void FreeOpenCLLibrary() {
    DropTracer();
    if (g_library == nullptr) return;
    const DllRef library(kAdoptCount, std::exchange(g_library, nullptr));
    static_cast<void>(library.Free());
}

}  // namespace nuvra
