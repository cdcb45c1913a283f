#include "pictures/scale_plan.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <numeric>

namespace nuvra::app {

std::optional<std::vector<ScalePiece>> PlanScale(Int64 source, Int64 destination, bool isMirrored,
                                                 Int64 limit, Int64 extra) {
    if (source + extra <= limit && destination <= limit)
        return std::vector<ScalePiece>{{0, source, 0, destination, 0, destination}};
    // So many source pixels make so many destination pixels, whatever the place.
    const Int64 divisor = std::gcd(source, destination);
    const Int64 sourcePeriod = source / divisor;
    const Int64 period = destination / divisor;
    assert(sourcePeriod > 0 && period > 0);  // no side is empty
    constexpr Int64 kExactIntegers = Int64{1} << 24;
    const bool isExact = std::has_single_bit(static_cast<UInt64>(period)) && destination < kExactIntegers &&
                         source < kExactIntegers / period;
    if (!isExact) return std::nullopt;
    // Filters reach two pixels of the coarser side; a third covers roundings of the position.
    const Int64 reach = std::max<Int64>(3, (3 * period + sourcePeriod - 1) / sourcePeriod);
    const Int64 overlap = (reach + period - 1) / period * period;
    const Int64 periods = std::min(limit / period, (limit - extra) / sourcePeriod) - 2 * overlap / period;
    if (periods < 1) return std::nullopt;

    std::vector<ScalePiece> pieces;
    for (Int64 begin = 0; begin < destination; begin += periods * period) {
        const Int64 end = std::min(destination, begin + periods * period);
        const Int64 first = std::max<Int64>(0, begin - overlap);
        const Int64 last = std::min(destination, end + overlap);
        const Int64 sourceFirst = first / period * sourcePeriod;
        const Int64 sourceLast = last / period * sourcePeriod;
        pieces.push_back({isMirrored ? source - sourceLast : sourceFirst, sourceLast - sourceFirst, first,
                          last - first, begin, end});
    }
    return pieces;
}

}  // namespace nuvra::app
