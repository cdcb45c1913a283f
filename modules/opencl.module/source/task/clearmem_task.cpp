#include "clearmem_task.cl.h"
#include "nuvra/open_cl.h"
#include "task/task_base.h"

namespace nuvra {

namespace {

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
    /// Null when the device reports none.
    const size_t* GetLimits() const;

    OpenCLProgramRef _program;
    OpenCLKernelRef _kernel16Zero;
    OpenCLKernelRef _kernel1Zero;
    OpenCLKernelRef _kernel16Value;
    OpenCLKernelRef _kernel1Value;
    BaseArray<Int64>
        _limits;  ///< the device's maximum work-item sizes, at least three entries when it has any
};

Result<void> OpenCLTaskClearMem::Init(const OpenCLContextRef& context) {
    NUVRA_RETURN_IF_ERROR(BuildProgram(context, kKey, kClearmemTaskSource, nullptr, _program));
    NUVRA_RETURN_IF_ERROR(CreateKernels(_program, {{"ClearMem16_0", &_kernel16Zero},
                                                   {"ClearMem1_0", &_kernel1Zero},
                                                   {"ClearMem16_v", &_kernel16Value},
                                                   {"ClearMem1_v", &_kernel1Value}}));
    const BaseArray<cl_device_id>& devices = context.GetDevices();
    if (devices.IsEmpty()) return OpenCLError(CL_DEVICE_NOT_FOUND);
    return ReadLimits(devices[0]);
}

Result<void> OpenCLTaskClearMem::ReadLimits(cl_device_id id) {
    NUVRA_ASSIGN_OR_RETURN(const OpenCLDeviceRef device, OpenCL::GetDeviceFromId(id));
    NUVRA_ASSIGN_OR_RETURN(const Data data, device.GetInfo(OpenCLDeviceInfo::MAX_WORK_ITEM_SIZES));
    const auto* sizes = data.Find<BaseArray<Int64>>();
    if (sizes == nullptr) return OutOfMemoryError();
    NUVRA_RETURN_IF_ERROR(_limits.CopyFrom(*sizes));
    // A launch has three dimensions: those that the device does not have are one work-item wide.
    while (!_limits.IsEmpty() && _limits.GetCount() < 3) NUVRA_RETURN_IF_ERROR(_limits.Append(1));
    return {};
}

const size_t* OpenCLTaskClearMem::GetLimits() const {
    static_assert(sizeof(size_t) == sizeof(Int64));
    return _limits.IsEmpty() ? nullptr : reinterpret_cast<const size_t*>(_limits.GetFirst());
}

Result<void> OpenCLTaskClearMem::Execute(const OpenCLContextRef&, const OpenCLCommandQueueRef& queue,
                                         const void* parameters) {
    NUVRA_ASSIGN_OR_RETURN(const auto* record, CheckParameters<ClearMemParameters>(parameters));
    if (record->buffer == nullptr) return OpenCLError(CL_INVALID_VALUE);
    if (record->size <= 0) return {};
    NUVRA_RETURN_IF_ERROR(CheckBuffer(record->buffer, record->size));
    const auto size = static_cast<size_t>(record->size);
    const size_t blocks = size / 16;
    const size_t tail = size % 16;
    const UChar value = record->value;
    const OpenCLKernelRef& kernel16 = value == 0 ? _kernel16Zero : _kernel16Value;
    const OpenCLKernelRef& kernel1 = value == 0 ? _kernel1Zero : _kernel1Value;
    if (blocks > 0) {
        NUVRA_RETURN_IF_ERROR(kernel16.SetArg(0, *record->buffer));
        const UInt32 lane = value * 0x01010101U;
        const UInt32 lanes[] = {lane, lane, lane, lane};
        if (value != 0) NUVRA_RETURN_IF_ERROR(kernel16.SetArg(1, lanes, 4));
        NUVRA_RETURN_IF_ERROR(queue.EnqueueRange(kernel16, GetLimits(), 0, blocks));
    }
    if (tail > 0) {
        NUVRA_RETURN_IF_ERROR(kernel1.SetArg(0, *record->buffer));
        if (value != 0) NUVRA_RETURN_IF_ERROR(kernel1.SetArg(1, &value, 1));
        NUVRA_RETURN_IF_ERROR(queue.EnqueueRange(kernel1, GetLimits(), blocks * 16, tail));
    }
    return {};
}

Result<void> OpenCLTaskClearMem::FreeResources(const OpenCLContextRef&) {
    return ReleaseAll({&_kernel16Zero, &_kernel1Zero, &_kernel16Value, &_kernel1Value}, _program);
}

TaskRegistration<OpenCLTaskClearMem> g_registration{"clearmem_task"};

}  // namespace

}  // namespace nuvra
