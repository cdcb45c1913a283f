#include <cstdio>

#include "format.h"
#include "no_throw.h"
#include "services.h"
#include "settings.h"

namespace nuvra::host {

namespace {

std::string MakeText(const char* format, const std::string_view* arguments, Int count) {
    return FormatText(format != nullptr ? format : "", {arguments, static_cast<size_t>(count)});
}

Result<String> Format(const char* format, const std::string_view* arguments, Int count) noexcept {
    return WithoutExceptions([&] { return String::FromCText(MakeText(format, arguments, count)); });
}

void Print(std::string_view message) {
    const auto& sink = GetSettings().diagnostics;
    if (sink)
        sink(message);
    else
        std::fprintf(stderr, "%.*s\n", static_cast<int>(message.size()), message.data());
}

void Write(const char* format, const std::string_view* arguments, Int count) noexcept {
    try {
        Print(MakeText(format, arguments, count));
    } catch (...) {
        std::fprintf(stderr, "%s\n", format != nullptr ? format : "");  // out of memory: the bare format
    }
}

}  // namespace

constinit const Diagnostic::Operations kDiagnosticOperations{Format, Write};

}  // namespace nuvra::host
