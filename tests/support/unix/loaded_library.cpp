#include "loaded_library.h"

#include <dlfcn.h>

namespace nuvra::test {

bool IsLoaded(const std::string& file) {
    void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle == nullptr) return false;
    dlclose(handle);
    return true;
}

std::string WordsForNoLibrary() {
    return "invalid ELF header";
}

std::string WordsForNoFile() {
    return "No such file";
}

std::string WordsForNoSymbol() {
    return "undefined symbol";
}

const char* const kSystemLibrary = "libc.so.6";

}  // namespace nuvra::test
