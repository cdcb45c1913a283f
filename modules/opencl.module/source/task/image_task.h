#pragma once

#include "task/task_base.h"

/// What the image tasks share. Runtimes do not check a launch against an image: one accepts a negative width
/// and never ends, so the tasks do.
namespace nuvra {

/// A task of one kernel, without scratch memory.
class OpenCLOneKernelTask : public OpenCLTaskBase {
public:
    Result<void> FreeResources(const OpenCLContextRef& context);

protected:
    /// Builds the source and creates the kernel.
    Result<void> MakeKernel(const OpenCLContextRef& context, const char* taskName, const char* source,
                            const char* kernelName);

    OpenCLProgramRef _program;
    OpenCLKernelRef _kernel;
};

/// CL_INVALID_VALUE for a rectangle that is empty, has a negative side, leaves the image, or reaches beyond
/// what the 32-bit coordinates of a kernel hold.
Result<void> CheckRectangle(const ImageSize& image, Int64 x, Int64 y, Int64 width, Int64 height);

/// One launch of a kernel whose indices are pixel coordinates, over a checked rectangle.
Result<void> EnqueueRectangle(const OpenCLCommandQueueRef& queue, const OpenCLKernelRef& kernel, Int64 x,
                              Int64 y, Int64 width, Int64 height);

}  // namespace nuvra
