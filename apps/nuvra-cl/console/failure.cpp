#include "console/failure.h"

#include <cstdio>

#include "nuvra/host/error_names.h"
#include "nuvra/host/file_write.h"
#include "nuvra/open_cl_error.h"
#include "system/system.h"

namespace nuvra::app {

void WriteError(std::string_view text) {
    static_cast<void>(host::WriteAll(GetErrorStream(), text));
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
