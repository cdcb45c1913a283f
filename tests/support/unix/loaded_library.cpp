#include <dlfcn.h>

#include "test_host.h"

namespace nuvra::test {

const char* const kSystemLibrary = "libc.so.6";

bool IsLoaded(const std::string& file) {
    void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr) dlclose(handle);
    return handle != nullptr;
}

}  // namespace nuvra::test
