#pragma once

#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

#include "nuvra/error.h"

namespace nuvra::host {

/// The format with each "@" replaced by the next argument, as `Diagnostic` describes.
std::string FormatText(std::string_view format, std::span<const std::string_view> arguments);

/// An error without a class of its own, with a formatted text.
ErrorRef MakeError(std::string_view format, std::initializer_list<std::string_view> arguments,
                   SourceLocation location = SourceLocation::Here());

/// The error's text, or the name of its class when it has none.
std::string DescribeError(const ErrorRef& error);

}  // namespace nuvra::host
