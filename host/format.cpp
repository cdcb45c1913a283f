#include "format.h"

#include "nuvra/string.h"

namespace nuvra::host {

std::string FormatText(std::string_view format, std::span<const std::string_view> arguments) {
    std::string text;
    for (const char character : format) {
        if (character == '@' && !arguments.empty()) {
            text += arguments.front();
            arguments = arguments.subspan(1);
        } else {
            text += character;
        }
    }
    return text;
}

ErrorRef MakeError(std::string_view format, std::initializer_list<std::string_view> arguments,
                   SourceLocation location) {
    const std::string text = FormatText(format, {arguments.begin(), arguments.size()});
    return NewError<UnknownErrorObject>(text.c_str(), location);
}

std::string DescribeError(const ErrorRef& error) {
    const String message = error.GetMessage();
    return message.IsEmpty() ? error.GetClassId() : std::string(message.GetView());
}

}  // namespace nuvra::host
