#pragma once

#include <string>

#include "nuvra/types.h"
#include "pictures/geometry.h"

/// Values as they are written on the command line. Each throws CLI::ValidationError for a text that it cannot
/// read, numbers beyond 64 bits included.
namespace nuvra::app {

/// A number of bytes, 0 or more: "4096", "64K", "2M", "1G"; the suffixes are powers of 1024.
Int64 ParseByteCount(const std::string& option, const std::string& text);
/// "X,Y,W,H"; any numbers.
Rectangle ParseRectangle(const std::string& option, const std::string& text);
/// "WxH"; any numbers.
Extent ParseExtent(const std::string& option, const std::string& text);

}  // namespace nuvra::app
