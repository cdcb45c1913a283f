#pragma once

#include "opencl_enqueue.h"

namespace nuvra {

/// Launches over a linear range of work-items, cut so that no launch exceeds a device's limits.
struct RangeLaunch {
    cl_command_queue queue;
    cl_kernel mainKernel;
    cl_kernel tailKernel;  ///< for what does not fill a work-group
    size_t groupSize;      ///< of the main kernel; 0 leaves it to the runtime

    /// Runs `offset` to `offset + count - 1`; `limits` has three entries or is null. The first launch carries
    /// the wait list; the first failing launch's code is the result. A range without launches waits for the
    /// wait list.
    cl_int Run(Enqueue& enqueue, const size_t* limits, size_t offset, size_t count) const;
};

}  // namespace nuvra
