#include "loaded_library.h"

#include <dlfcn.h>

namespace nuvra::test {

bool IsLoaded(const std::string& file) {
    void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle == nullptr) return false;
    dlclose(handle);
    return true;
}

}  // namespace nuvra::test
