#include <windows.h>

#include "nuvra/host/file_name.h"
#include "test_host.h"

namespace nuvra::test {

const char* const kSystemLibrary = "msvcrt.dll";

bool IsLoaded(const std::string& file) {
    return GetModuleHandleW(std::filesystem::absolute(host::ToPath(file)).c_str()) != nullptr;
}

}  // namespace nuvra::test
