#pragma once

#include <cstddef>

namespace nuvra::bench {

/// The process's peak resident memory in bytes.
size_t GetPeakMemory();

}  // namespace nuvra::bench
