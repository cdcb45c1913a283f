#pragma once

#include "task/task_base.h"

namespace nuvra {

/// Packs two images side by side into one of the same width.
class OpenCLTaskSBSStereo : public OpenCLTaskBase {
public:
    static constexpr const char* kKey = "image.stereo.sbs";
    static constexpr const char* kClassId = "net.nuvra.opencl.task.stereo.sbs";
    static constexpr const char* kTypeName = ".OpenCLTaskSBSStereo";

    Result<void> Init(const OpenCLContextRef& context);
    /// `parameters` is a `StereoSbsParameters`.
    Result<void> Execute(const OpenCLContextRef& context, const OpenCLCommandQueueRef& queue,
                         const void* parameters);
    Result<void> FreeResources(const OpenCLContextRef& context);

private:
    OpenCLProgramRef _program;
    OpenCLKernelRef _kernel;
    bool _isInitialized = false;
};

}  // namespace nuvra
