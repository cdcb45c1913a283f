#pragma once

#include "task/task_base.h"

namespace nuvra {

/// Raises the colours of a rectangle to a power, from one image into another.
class OpenCLTaskGammaImage : public OpenCLTaskBase {
public:
    static constexpr const char* kKey = "image.gamma";
    static constexpr const char* kClassId = "net.nuvra.opencl.task.gammaimage";
    static constexpr const char* kTypeName = ".OpenCLTaskGammaImage";

    Result<void> Init(const OpenCLContextRef& context);
    /// `parameters` is a `GammaImageParameters`.
    Result<void> Execute(const OpenCLContextRef& context, const OpenCLCommandQueueRef& queue,
                         const void* parameters);
    Result<void> FreeResources(const OpenCLContextRef& context);

private:
    OpenCLProgramRef _program;
    OpenCLKernelRef _kernel;
    bool _isInitialized = false;
};

}  // namespace nuvra
