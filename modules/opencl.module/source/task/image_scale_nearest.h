#pragma once

#include "task/task_base.h"

namespace nuvra {

/// Scales a rectangle, each pixel being the nearest of the source.
class OpenCLTaskScaleNearest : public OpenCLTaskBase {
public:
    static constexpr const char* kKey = "image.scalenearest";
    static constexpr const char* kClassId = "net.nuvra.opencl.task.scalenearest";
    static constexpr const char* kTypeName = ".OpenCLTaskScaleNearest";

    Result<void> Init(const OpenCLContextRef& context);
    /// `parameters` is a `ScaleParameters`.
    Result<void> Execute(const OpenCLContextRef& context, const OpenCLCommandQueueRef& queue,
                         const void* parameters);
    Result<void> FreeResources(const OpenCLContextRef& context);

private:
    OpenCLProgramRef _program;
    OpenCLKernelRef _kernel;
    bool _isInitialized = false;
};

}  // namespace nuvra
