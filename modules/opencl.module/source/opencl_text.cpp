#include "opencl_text.h"

#include <cstdio>

#include "opencl_error.h"

namespace nuvra {

Result<Int64> ParseVersion(const char* text, const char* prefix, SourceLocation location) {
    // Fifteen digits keep scanf and the sum inside 64 bits, whatever a driver writes.
    char pattern[64];
    std::snprintf(pattern, sizeof(pattern), "%s%%15lld.%%15lld", prefix);
    long long major = 0;
    long long minor = 0;
    // NOLINTNEXTLINE(clang-analyzer-*,cert-err34-c): the widths bound the numbers
    if (std::sscanf(text, pattern, &major, &minor) != 2)
        return OpenCLError(OpenCLErrorCode::UNSPECIFIED, location);
    return Int64{major} * 100 + Int64{minor} * 10;
}

Result<void> SplitExtensions(const char* text, BaseArray<String>& names) {
    names.Reset();
    while (*text != '\0') {
        const size_t length = std::strcspn(text, " ");
        if (length > 0) {
            NUVRA_ASSIGN_OR_RETURN(String name, String::FromCText({text, length}));
            NUVRA_RETURN_IF_ERROR(names.Append(std::move(name)));
        }
        text += length + (text[length] == ' ' ? 1 : 0);
    }
    return {};
}

bool ContainsName(const BaseArray<String>& names, const String& name) {
    for (const String& candidate : names)
        if (candidate == name) return true;
    return false;
}

}  // namespace nuvra
