#pragma once

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

/// Enqueues the kernel over the destination's extents in tiles of at most 1024 x 1024 work-items, rows of
/// tiles outermost; the global offset is the tile's place in the rectangle.
Result<void> EnqueueTiles(const OpenCLCommandQueueRef& queue, const OpenCLKernelRef& kernel,
                          const ScaleGeometry& geometry);

}  // namespace nuvra
