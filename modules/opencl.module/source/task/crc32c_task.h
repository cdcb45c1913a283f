#pragma once

#include "task/task_base.h"

namespace nuvra {

/// Checksums bytes in a buffer, piece by piece.
class OpenCLTaskCrc32C : public OpenCLTaskBase {
public:
    static constexpr const char* kKey = "crc32c";
    static constexpr const char* kClassId = "net.nuvra.opencl.task.crc32c";
    static constexpr const char* kTypeName = ".OpenCLTaskCrc32C";

    Result<void> Init(const OpenCLContextRef& context);
    /// `parameters` is a `Crc32cParameters`.
    Result<void> Execute(const OpenCLContextRef& context, const OpenCLCommandQueueRef& queue,
                         const void* parameters);
    Result<void> FreeResources(const OpenCLContextRef& context);

private:
    OpenCLProgramRef _program;
    OpenCLKernelRef _kernel;
    OpenCLMemoryObjectRef _table;  ///< the cached buffer 0
    bool _isInitialized = false;
};

}  // namespace nuvra
