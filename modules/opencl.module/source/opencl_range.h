#pragma once

#include "opencl_enqueue.h"

namespace nuvra {

/// Launches over a linear range of work-items, cut so that no launch exceeds a device's limits.
struct RangeLaunch {
    cl_command_queue queue;
    cl_kernel mainKernel;
    cl_kernel tailKernel;  ///< for what does not fill a work-group
    size_t groupSize;      ///< of the main kernel; 0 leaves it to the runtime
    const size_t* limits;  ///< three entries, or null for no limits
    size_t offset;
    size_t count;

    /// Returns the code of the first failing launch. The first launch carries the wait list; a range without
    /// launches waits for it.
    cl_int Run(const EventArguments& events) const;
};

}  // namespace nuvra
