#pragma once

#include <string>
#include <string_view>

/// What messages are made of; the picture library has its own copy of it.
namespace nuvra::app {

/// The text in double quotes, on one line: control characters become question marks.
std::string Quote(std::string_view text);

/// The first line of a library's message, or `otherwise` when it has none.
std::string FirstLine(std::string_view message, std::string_view otherwise);

/// What an errno value means.
std::string DescribeSystemError(int code);

}  // namespace nuvra::app
