#pragma once

#include <algorithm>

#include "task/task_base.h"

/// What the two scaling tasks share.
namespace nuvra {

/// A call's checked rectangles with mirroring resolved: a mirrored axis has its source origin at the far end
/// and a negative source extent; destination extents are positive.
struct ScaleGeometry {
    struct Axis {
        Int32 source;        ///< origin in the source
        Int32 sourceExtent;  ///< negative when mirrored, never 0
        Int32 destination;   ///< origin in the destination
        Int32 extent;        ///< in the destination
        Float32 scale;       ///< source pixels a destination pixel, negative when mirrored
    };
    Axis x;
    Axis y;
};

/// The geometry of a record whose images have been checked, with the size of the destination; fails with
/// CL_INVALID_VALUE as `ScaleParameters` says.
Result<ScaleGeometry> MakeScaleGeometry(const ScaleParameters& parameters, const ImageSize& size);

/// A part of the destination's extents; its place is counted from the rectangle's corner.
struct ScaleTile {
    Int32 x;
    Int32 y;
    Int32 width;
    Int32 height;
};

constexpr Int32 kLargestTile = 1024;  // pixels to each side

/// Cuts the destination's extents into tiles of at most `width` x `height`, rows of tiles outermost, and
/// launches each; the first failure ends it.
template <class Launch>
Result<void> LaunchTiles(const ScaleGeometry& geometry, Int32 width, Int32 height, Launch launch) {
    for (Int64 y = 0; y < geometry.y.extent; y += height)
        for (Int64 x = 0; x < geometry.x.extent; x += width)
            NUVRA_RETURN_IF_ERROR(
                launch(ScaleTile{static_cast<Int32>(x), static_cast<Int32>(y),
                                 static_cast<Int32>(std::min<Int64>(width, geometry.x.extent - x)),
                                 static_cast<Int32>(std::min<Int64>(height, geometry.y.extent - y))}));
    return {};
}

}  // namespace nuvra
