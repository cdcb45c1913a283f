#include "console/failure.h"

#include <cstdio>
#include <system_error>

#include "nuvra/host/error_names.h"
#include "nuvra/host/file_write.h"
#include "nuvra/open_cl_error.h"

namespace nuvra::app {

std::string Quote(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) quoted += static_cast<unsigned char>(c) < 0x20 || c == 0x7f ? '?' : c;
    return quoted + '"';
}

void WriteError(std::string_view text) {
    static_cast<void>(host::WriteAll(stderr, text));
}

void PrintError(const std::string& message) {
    constexpr size_t kLongest = 500;
    constexpr size_t kTail = 240;
    constexpr std::string_view kGap = " ... ";
    std::string line = "nuvra-cl: " + message;
    if (line.size() > kLongest) {
        // UTF-8 continuation bytes stay with their lead byte.
        const auto isInside = [&](size_t at) {
            return (static_cast<unsigned char>(line[at]) & 0xC0) == 0x80;
        };
        size_t head = kLongest - kTail - kGap.size();
        size_t tail = line.size() - kTail;
        while (head > 0 && isInside(head)) head--;
        while (tail < line.size() && isInside(tail)) tail++;
        line.replace(head, tail - head, kGap);
    }
    WriteError(line + '\n');
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

Int32 GetCode(const ErrorRef& error) {
    return OpenCLErrorRef(error).GetErrorCode();
}

std::string DescribeError(const ErrorRef& error) {
    const std::string text(error.GetMessage().GetView());
    const OpenCLErrorRef openCLError(error);
    if (!openCLError) return FirstLine(text, error.GetClassId());
    const Int32 code = openCLError.GetErrorCode();
    const std::string number = "(" + std::to_string(code) + ")";
    const std::string_view name = host::FindErrorName(code);
    if (name.empty()) return "OpenCL error " + number;
    if (text.empty() || text == name) return std::string(name) + " " + number;
    return text + " " + std::string(name) + " " + number;
}

}  // namespace nuvra::app
