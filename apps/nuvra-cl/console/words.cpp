#include "console/words.h"

#include <system_error>

namespace nuvra::app {

std::string Quote(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) quoted += static_cast<unsigned char>(c) < 0x20 || c == 0x7f ? '?' : c;
    return quoted + '"';
}

std::string FirstLine(std::string_view message, std::string_view otherwise) {
    const size_t begin = message.find_first_not_of(" \t\r\n");
    if (begin == std::string_view::npos) return std::string(otherwise);
    std::string_view line = message.substr(begin, message.find_first_of("\r\n", begin) - begin);
    return std::string(line.substr(0, line.find_last_not_of(" \t") + 1));
}

std::string DescribeSystemError(int code) {
    return std::generic_category().message(code);
}

}  // namespace nuvra::app
