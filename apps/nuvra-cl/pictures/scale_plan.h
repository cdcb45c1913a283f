#pragma once

#include <optional>
#include <vector>

#include "nuvra/types.h"

namespace nuvra::app {

/// One piece of an axis of a scaling, in pixels from the beginning of the axis: scaling the source's range
/// alone gives the destination's range, of which the core is as in scaling the whole axis.
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
/// widest filter reaches; their cores give the very same values where positions are exact in 32-bit floats.
/// Nothing where that cannot be.
std::optional<std::vector<ScalePiece>> PlanScale(Int64 source, Int64 destination, bool isMirrored,
                                                 Int64 limit, Int64 extra);

}  // namespace nuvra::app
