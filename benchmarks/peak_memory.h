#pragma once

#include <cstddef>

namespace nuvra::bench {

/// The most memory, in bytes, that the process has had at once.
size_t GetPeakMemory();

}  // namespace nuvra::bench
