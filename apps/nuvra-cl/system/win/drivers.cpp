#include "system/drivers.h"

#include <windows.h>

#include <filesystem>
#include <iterator>

#include "console/failure.h"
#include "nuvra/host/file_name.h"

namespace nuvra::app {

std::vector<std::string> DescribeDrivers() {
    std::vector<std::string> descriptions;
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Khronos\\OpenCL\\Vendors", 0, KEY_READ, &key) !=
        ERROR_SUCCESS)
        return descriptions;
    for (DWORD i = 0;; i++) {
        wchar_t name[4096];
        DWORD length = std::size(name);
        if (RegEnumValueW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
        const std::filesystem::path file(name);
        std::error_code error;
        const bool isMissing = file.is_absolute() && !std::filesystem::exists(file, error);
        // No driver is opened: a broken one would crash this process.
        descriptions.push_back(Quote(host::ToText(file)) +
                               (isMissing ? ": there is no such file" : ": it gives no platform"));
    }
    RegCloseKey(key);
    return descriptions;
}

}  // namespace nuvra::app
