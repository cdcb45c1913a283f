#pragma once

#include "task/task_base.h"

namespace nuvra {

/// Scales a rectangle with a separable cubic filter, whose taps are computed on the device first.
class OpenCLTaskScaleBicubic : public OpenCLTaskBase {
public:
    static constexpr const char* kKey = "image.scalebicubic";
    static constexpr const char* kClassId = "net.nuvra.opencl.task.scalebicubic";
    static constexpr const char* kTypeName = ".OpenCLTaskScaleBicubic";

    Result<void> Init(const OpenCLContextRef& context);
    /// `parameters` is a `ScaleParameters`.
    Result<void> Execute(const OpenCLContextRef& context, const OpenCLCommandQueueRef& queue,
                         const void* parameters);
    Result<void> FreeResources(const OpenCLContextRef& context);

private:
    struct Axis;
    Result<void> MakeBuffers(const OpenCLContextRef& context, Axis& axis);
    Result<void> Prepare(const OpenCLCommandQueueRef& queue, const Axis& axis);

    OpenCLProgramRef _program;
    OpenCLKernelRef _scale;
    OpenCLKernelRef _preparePositive;
    OpenCLKernelRef _prepareNegative;
    bool _isInitialized = false;
};

}  // namespace nuvra
