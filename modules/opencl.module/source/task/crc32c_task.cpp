#include <algorithm>
#include <array>

#include "crc32c_task.cl.h"
#include "opencl_device.h"
#include "task/task_base.h"

namespace nuvra {

namespace {

/// Checksums bytes in a buffer, piece by piece.
class OpenCLTaskCrc32C : public OpenCLOneKernelTask {
public:
    static constexpr const char* kKey = "crc32c";
    static constexpr const char* kClassId = "net.nuvra.opencl.task.crc32c";
    static constexpr const char* kTypeName = ".OpenCLTaskCrc32C";

    Result<void> Init(const OpenCLContextRef& context);
    /// `parameters` is a `Crc32cParameters`.
    Result<void> Execute(const OpenCLContextRef& context, const OpenCLCommandQueueRef& queue,
                         const void* parameters);

private:
    enum CachedBuffer : Int { TABLE };
    OpenCLMemoryObjectRef _table;
};

constexpr UInt32 kReflectedPolynomial = 0x82F63B78;

/// The register after each byte's eight reflected steps.
constexpr std::array<UInt32, 256> kTable = [] {
    std::array<UInt32, 256> table{};
    for (UInt32 byte = 0; byte < table.size(); byte++) {
        UInt32 value = byte;
        for (int step = 0; step < 8; step++)
            value = (value >> 1) ^ ((value & 1) != 0 ? kReflectedPolynomial : 0);
        table[byte] = value;
    }
    return table;
}();

/// Whether the device's local memory holds the tables that the kernel makes for eight bytes at once.
bool HoldsTables(cl_device_id device) {
    cl_ulong size = 0;
    return GetDeviceInfo(device, CL_DEVICE_LOCAL_MEM_SIZE, sizeof(size), &size, nullptr) == CL_SUCCESS &&
           size >= 8 * sizeof(kTable);
}

Result<void> OpenCLTaskCrc32C::Init(const OpenCLContextRef& context) {
    const BaseArray<cl_device_id>& devices = context.GetDevices();
    const bool holdTables = std::all_of(devices.begin(), devices.end(), HoldsTables);
    NUVRA_RETURN_IF_ERROR(MakeKernel(context, kKey, kCrc32cTaskSource, "CalculateCRC",
                                     holdTables ? "" : " -D SMALL_LOCAL_MEMORY"));
    NUVRA_ASSIGN_OR_RETURN(
        _table, GetCachedBuffer(context, sizeof(kTable), TABLE, const_cast<UInt32*>(kTable.data())));
    return {};
}

Result<void> OpenCLTaskCrc32C::Execute(const OpenCLContextRef&, const OpenCLCommandQueueRef& queue,
                                       const void* parameters) {
    NUVRA_ASSIGN_OR_RETURN(const auto* record, CheckParameters<Crc32cParameters>(parameters));
    const UInt32 initial = 0xFFFFFFFF;
    NUVRA_RETURN_IF_ERROR(CheckBuffer(record->data, record->size));
    NUVRA_RETURN_IF_ERROR(CheckBuffer(record->crc, sizeof(initial)));
    if (record->start) {
        NUVRA_RETURN_IF_ERROR(queue.EnqueueWriteBuffer(*record->crc, true, 0, sizeof(initial), &initial));
    }
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(0, _table));
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(1, *record->data));
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(2, &record->size, 1));
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(3, *record->crc));
    const size_t globalSize = 1;
    return queue.EnqueueNDRangeKernel(_kernel, 1, nullptr, &globalSize, nullptr);
}

TaskRegistration<OpenCLTaskCrc32C> g_registration{"crc32c_task"};

}  // namespace

}  // namespace nuvra
