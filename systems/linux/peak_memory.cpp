#include "peak_memory.h"

#include <sys/resource.h>

namespace nuvra::bench {

size_t GetPeakMemory() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<size_t>(usage.ru_maxrss) << 10;
}

}  // namespace nuvra::bench
