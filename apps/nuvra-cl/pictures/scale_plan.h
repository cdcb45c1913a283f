#pragma once

#include <optional>
#include <vector>

#include "nuvra/types.h"

namespace nuvra::app {

/// One piece of an axis of a scaling, in pixels from the beginning of the axis. Scaling `[source,
/// +sourceExtent)` alone gives `[destination, +extent)`; there `[coreBegin, coreEnd)` equals the result of
/// scaling the whole axis.
struct ScalePiece {
    Int64 source;
    Int64 sourceExtent;
    Int64 destination;
    Int64 extent;
    Int64 coreBegin;  ///< in the destination
    Int64 coreEnd;
};

/// Cuts an axis of `source` pixels scaled to `destination` into pieces of at most `limit` pixels on either
/// side, with `extra` more on the source's. Pieces begin on whole source pixels and overlap by what the
/// widest filter reaches. `nullopt` where positions are not exact in 32-bit floats: pieces would show seams.
std::optional<std::vector<ScalePiece>> PlanScale(Int64 source, Int64 destination, bool isMirrored,
                                                 Int64 limit, Int64 extra);

}  // namespace nuvra::app
