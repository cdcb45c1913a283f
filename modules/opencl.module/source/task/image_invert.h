#pragma once

#include "task/task_base.h"

namespace nuvra {

/// Inverts the colours of a rectangle from one image into another.
class OpenCLTaskInvertImage : public OpenCLTaskBase {
public:
    static constexpr const char* kKey = "image.invert";
    static constexpr const char* kClassId = "net.nuvra.opencl.task.invertimage";
    static constexpr const char* kTypeName = ".OpenCLTaskInvertImage";

    Result<void> Init(const OpenCLContextRef& context);
    /// `parameters` is an `InvertImageParameters`.
    Result<void> Execute(const OpenCLContextRef& context, const OpenCLCommandQueueRef& queue,
                         const void* parameters);
    Result<void> FreeResources(const OpenCLContextRef& context);

private:
    OpenCLProgramRef _program;
    OpenCLKernelRef _kernel;
    bool _isInitialized = false;
};

}  // namespace nuvra
