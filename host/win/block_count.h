#pragma once

#include <atomic>

#include "nuvra/types.h"

namespace nuvra::host {

/// The number of live blocks, counted on any thread. With MinGW a thread's memory is gone before the
/// destructors that stand in it run, so that a thread cannot count for itself.
class BlockCount {
public:
    static void Add(Int difference) noexcept { _count.fetch_add(difference, std::memory_order_relaxed); }
    static Int Get() { return _count.load(std::memory_order_relaxed); }

private:
    static inline constinit std::atomic<Int> _count{0};
};

}  // namespace nuvra::host
