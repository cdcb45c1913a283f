#include "nuvra/host/dynamic_library.h"

#include <dlfcn.h>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define NUVRA_LEAK_CHECKED 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define NUVRA_LEAK_CHECKED 1
#endif

namespace nuvra::host {

#if defined(NUVRA_LEAK_CHECKED)
const bool kRuntimesStayResident = true;
#else
const bool kRuntimesStayResident = false;
#endif

namespace {

std::string LastError() {
    const char* words = dlerror();
    return words != nullptr ? words : "the loader gives no reason";
}

}  // namespace

DynamicLibrary DynamicLibrary::Open(const std::string& name, LibraryUse use, std::string& reason) {
    int flags = (use == LibraryUse::PART ? RTLD_LAZY : RTLD_NOW) | RTLD_LOCAL;
    if (use == LibraryUse::RUNTIME && kRuntimesStayResident) flags |= RTLD_NODELETE;
    DynamicLibrary library;
    library._handle = dlopen(name.c_str(), flags);
    if (!library.IsOpen()) reason = LastError();
    return library;
}

void* DynamicLibrary::Find(const char* symbol, std::string& reason) const {
    dlerror();  // forget earlier failures
    void* address = dlsym(_handle, symbol);
    if (address == nullptr) reason = LastError();
    return address;
}

void DynamicLibrary::Close() {
    if (IsOpen()) dlclose(std::exchange(_handle, nullptr));
}

}  // namespace nuvra::host
