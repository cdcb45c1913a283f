#include "console/values.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <limits>
#include <vector>

namespace nuvra::app {

namespace {

/// `count` numbers with `separator` between them; empty when the text is anything else.
std::vector<Int64> ParseNumbers(std::string_view text, size_t count, char separator) {
    std::vector<Int64> numbers;
    const char* position = text.data();
    const char* const end = position + text.size();
    while (numbers.size() < count) {
        if (!numbers.empty() && (position == end || *position++ != separator)) return {};
        Int64 number = 0;
        const auto [next, error] = std::from_chars(position, end, number);
        if (error != std::errc()) return {};
        numbers.push_back(number);
        position = next;
    }
    return position == end ? numbers : std::vector<Int64>();
}

[[noreturn]] void Refuse(const std::string& option, const std::string& text, const std::string& wanted) {
    throw CLI::ValidationError(option, "\"" + text + "\" is not " + wanted);
}

}  // namespace

Int64 ParseByteCount(const std::string& option, const std::string& text) {
    constexpr std::string_view kSuffixes = "KMG";
    const size_t suffix =
        text.empty() ? std::string_view::npos : kSuffixes.find(static_cast<char>(std::toupper(text.back())));
    const bool hasSuffix = suffix != std::string_view::npos;
    const int shift = hasSuffix ? 10 * (static_cast<int>(suffix) + 1) : 0;
    const std::vector<Int64> number =
        ParseNumbers(std::string_view(text).substr(0, text.size() - (hasSuffix ? 1 : 0)), 1, ' ');
    if (number.empty() || number[0] < 0 || number[0] > (std::numeric_limits<Int64>::max() >> shift))
        Refuse(option, text, "a number of bytes (such as 4096, 64K, 2M or 1G)");
    return number[0] << shift;
}

Rectangle ParseRectangle(const std::string& option, const std::string& text) {
    const std::vector<Int64> numbers = ParseNumbers(text, 4, ',');
    if (numbers.empty()) Refuse(option, text, "a rectangle X,Y,W,H in pixels");
    return {numbers[0], numbers[1], numbers[2], numbers[3]};
}

Extent ParseExtent(const std::string& option, const std::string& text) {
    const std::vector<Int64> numbers = ParseNumbers(text, 2, 'x');
    if (numbers.empty()) Refuse(option, text, "a size WxH in pixels");
    return {numbers[0], numbers[1]};
}

}  // namespace nuvra::app
