#pragma once

#include "task/task_base.h"

namespace nuvra {

/// Exclusive prefix sums: blocks of four elements a work-item are scanned by a work-group each, their totals
/// within chunks of 16384 elements, and the chunks' totals through further levels.
class OpenCLTaskPrefixsum : public OpenCLTaskBase {
public:
    static constexpr const char* kKey = "prefixsum";
    static constexpr const char* kClassId = "net.nuvra.opencl.task.prefixsum";
    static constexpr const char* kTypeName = ".OpenCLTaskPrefixsum";

    /// CL_DEVICE_NOT_FOUND without devices; CL_INVALID_WORK_GROUP_SIZE where a device cannot run a group
    /// of 64.
    Result<void> Init(const OpenCLContextRef& context);
    /// `parameters` is a `PrefixSumParameters`.
    Result<void> Execute(const OpenCLContextRef& context, const OpenCLCommandQueueRef& queue,
                         const void* parameters);
    Result<void> FreeResources(const OpenCLContextRef& context);
    /// Selector 0: the `paddedCount` for the count that `value` holds as a 64- or 32-bit integer, as an
    /// Int64; an Int32 0 for a count of 0 and for other values. Empty for other selectors.
    static Data QueryParameter(Int64 selector, const Data& value);

private:
    struct Level;
    struct Call;

    Result<void> BuildForGroupSize(const OpenCLContextRef& context);
    Result<bool> DoDevicesGrantGroupSize(const OpenCLContextRef& context) const;

    Result<void> Launch(const Call& call, const OpenCLKernelRef& kernel, size_t globalSize,
                        bool inGroups) const;
    Result<void> ScanBlocks(const Call& call, const Level& level, size_t globalSize) const;
    Result<void> ScanSmall(const Call& call, const OpenCLMemoryObjectRef& sums) const;
    Result<void> MakeLevels(Call& call, const OpenCLMemoryObjectRef& sums);
    Result<void> ScanLevel(const Call& call, Int index) const;
    Result<void> AddLevel(const Call& call, Int index) const;
    static Result<void> ReadTotal(const Call& call);

    UInt32 _groupSize = 0;
    OpenCLProgramRef _program;
    OpenCLKernelRef _scanExclusiveLocal1;
    OpenCLKernelRef _scanExclusiveLocal2;
    OpenCLKernelRef _uniformUpdate1;
    OpenCLKernelRef _uniformUpdate2;
    OpenCLKernelRef _mergeResult;
    OpenCLKernelRef _buildNextBuffer;
    OpenCLKernelRef _addLevel1;
    OpenCLKernelRef _addLevel2;
    bool _isInitialized = false;
};

}  // namespace nuvra
