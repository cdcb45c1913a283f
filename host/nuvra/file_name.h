#pragma once

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

}  // namespace nuvra::host
