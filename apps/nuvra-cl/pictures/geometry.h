#pragma once

#include <string>

#include "nuvra/types.h"

namespace nuvra::app {

/// In pixels.
struct Rectangle {
    Int64 x = 0;
    Int64 y = 0;
    Int64 width = 0;
    Int64 height = 0;
};

/// In pixels.
struct Extent {
    Int64 width = 0;
    Int64 height = 0;
};

/// No picture format has a longer side: options that ask for more are refused.
inline constexpr Int64 kLargestSide = Int64{1} << 24;

/// "1920 x 1080".
inline std::string DescribeSize(Int64 width, Int64 height) {
    return std::to_string(width) + " x " + std::to_string(height);
}

}  // namespace nuvra::app
