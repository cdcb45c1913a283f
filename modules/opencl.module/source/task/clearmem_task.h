#pragma once

#include "task/task_base.h"

namespace nuvra {

/// Fills the start of a buffer: sixteen bytes a work-item, the last up to fifteen bytes one by one.
class OpenCLTaskClearMem : public OpenCLTaskBase {
public:
    static constexpr const char* kKey = "clearmem";
    static constexpr const char* kClassId = "net.nuvra.opencl.task.clearmem";
    static constexpr const char* kTypeName = ".OpenCLTaskClearMem";

    Result<void> Init(const OpenCLContextRef& context);
    /// `parameters` is a `ClearMemParameters`.
    Result<void> Execute(const OpenCLContextRef& context, const OpenCLCommandQueueRef& queue,
                         const void* parameters);
    Result<void> FreeResources(const OpenCLContextRef& context);

private:
    Result<void> ReadLimits(cl_device_id device);
    /// Null when the device told none.
    const size_t* GetLimits() const;

    OpenCLProgramRef _program;
    OpenCLKernelRef _kernel16Zero;
    OpenCLKernelRef _kernel1Zero;
    OpenCLKernelRef _kernel16Value;
    OpenCLKernelRef _kernel1Value;
    bool _isInitialized = false;
    BaseArray<Int64>
        _limits;  ///< the device's maximum work-item sizes, at least three entries when it has any
};

}  // namespace nuvra
