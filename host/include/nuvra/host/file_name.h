#pragma once

#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>

/// File names as texts: UTF-8 on every system.
namespace nuvra::host {

inline std::filesystem::path ToPath(std::string_view name) {
    return std::u8string(name.begin(), name.end());
}

inline std::string ToText(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

/// `std::fopen` for any file name; mode "x" creates the file and fails where it exists.
std::FILE* OpenFile(const std::filesystem::path& path, const char* mode);

/// Another stream to where `stream` writes now, and stays there if that one is redirected; null with `errno`
/// set on failure.
std::FILE* CopyStream(std::FILE* stream);

}  // namespace nuvra::host
