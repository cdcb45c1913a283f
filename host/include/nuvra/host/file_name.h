#pragma once

#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>

/// File names as texts. They are UTF-8 everywhere in the program, whatever the system's own encoding is.
namespace nuvra::host {

inline std::filesystem::path ToPath(std::string_view name) {
    return std::u8string(name.begin(), name.end());
}

inline std::string ToText(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

/// As std::fopen, for any name that a file can have; "x" makes a file that is not there yet, or fails.
std::FILE* OpenFile(const std::filesystem::path& path, const char* mode);

}  // namespace nuvra::host
