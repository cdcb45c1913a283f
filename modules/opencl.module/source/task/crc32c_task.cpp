#include <array>

#include "crc32c_task.cl.h"
#include "task/task_base.h"

namespace nuvra {

namespace {

/// Checksums bytes in a buffer, piece by piece. A long piece is cut into parts for a work-item each, whose
/// registers are joined by a second launch.
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
    enum CachedBuffer : Int { TABLE, PARTS };

    Result<void> CalculateWhole(const OpenCLCommandQueueRef& queue, const Crc32cParameters& record) const;
    Result<void> CalculateInParts(const OpenCLCommandQueueRef& queue, const Crc32cParameters& record,
                                  const OpenCLMemoryObjectRef& parts, Int32 partSize, Int32 count) const;

    OpenCLProgramRef _program;
    OpenCLKernelRef _calculateCrc;
    OpenCLKernelRef _calculateParts;
    OpenCLKernelRef _joinParts;
    OpenCLMemoryObjectRef _table;
    bool _isProcessor = false;
};

constexpr size_t kOneItem = 1;
// A part takes longer than what it costs to begin and to join one. Few fast work-items want long parts, and
// many slow ones short parts, though not so many that joining them takes long; some devices end a work-item's
// loops after 65535 iterations in all.
constexpr Int32 kProcessorPart = 1 << 18;  // bytes
constexpr Int32 kOtherPart = 1 << 14;
constexpr Int32 kFewestParts = 4;
constexpr Int32 kMostParts = 8192;

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

Result<void> OpenCLTaskCrc32C::Init(const OpenCLContextRef& context) {
    _isProcessor = AreProcessors(context);
    const char* options =
        _isProcessor ? "-cl-fast-relaxed-math -D LANES=8" : "-cl-fast-relaxed-math -D LANES=2";
    NUVRA_RETURN_IF_ERROR(BuildProgram(context, kKey, kCrc32cTaskSource, options, _program));
    NUVRA_RETURN_IF_ERROR(CreateKernels(_program, {{"CalculateCRC", &_calculateCrc},
                                                   {"CalculateParts", &_calculateParts},
                                                   {"JoinParts", &_joinParts}}));
    NUVRA_ASSIGN_OR_RETURN(
        _table, GetCachedBuffer(context, sizeof(kTable), TABLE, const_cast<UInt32*>(kTable.data())));
    return {};
}

Result<void> OpenCLTaskCrc32C::Execute(const OpenCLContextRef& context, const OpenCLCommandQueueRef& queue,
                                       const void* parameters) {
    NUVRA_ASSIGN_OR_RETURN(const auto* record, CheckParameters<Crc32cParameters>(parameters));
    const UInt32 initial = 0xFFFFFFFF;
    NUVRA_RETURN_IF_ERROR(CheckBuffer(record->data, record->size));
    NUVRA_RETURN_IF_ERROR(CheckBuffer(record->crc, sizeof(initial)));
    Int32 partSize = _isProcessor ? kProcessorPart : kOtherPart;
    const bool isLong = record->size / partSize >= kFewestParts;
    while (record->size / partSize >= kMostParts) partSize *= 2;
    const Int32 count = record->size / partSize + (record->size % partSize != 0 ? 1 : 0);
    Turn turn(*this, context, queue);
    OpenCLMemoryObjectRef parts;
    if (isLong) {
        NUVRA_ASSIGN_OR_RETURN(parts, turn.GetBuffer(Int{count} * 4, PARTS));
    }
    if (record->start) {
        NUVRA_RETURN_IF_ERROR(queue.EnqueueWriteBuffer(*record->crc, true, 0, sizeof(initial), &initial));
    }
    return isLong ? CalculateInParts(queue, *record, parts, partSize, count) : CalculateWhole(queue, *record);
}

Result<void> OpenCLTaskCrc32C::CalculateWhole(const OpenCLCommandQueueRef& queue,
                                              const Crc32cParameters& record) const {
    NUVRA_RETURN_IF_ERROR(_calculateCrc.SetArg(0, _table));
    NUVRA_RETURN_IF_ERROR(_calculateCrc.SetArg(1, *record.data));
    NUVRA_RETURN_IF_ERROR(_calculateCrc.SetArg(2, &record.size, 1));
    NUVRA_RETURN_IF_ERROR(_calculateCrc.SetArg(3, *record.crc));
    return queue.EnqueueNDRangeKernel(_calculateCrc, 1, nullptr, &kOneItem, nullptr);
}

Result<void> OpenCLTaskCrc32C::CalculateInParts(const OpenCLCommandQueueRef& queue,
                                                const Crc32cParameters& record,
                                                const OpenCLMemoryObjectRef& parts, Int32 partSize,
                                                Int32 count) const {
    NUVRA_RETURN_IF_ERROR(_calculateParts.SetArg(0, _table));
    NUVRA_RETURN_IF_ERROR(_calculateParts.SetArg(1, *record.data));
    NUVRA_RETURN_IF_ERROR(_calculateParts.SetArg(2, &record.size, 1));
    NUVRA_RETURN_IF_ERROR(_calculateParts.SetArg(3, &partSize, 1));
    NUVRA_RETURN_IF_ERROR(_calculateParts.SetArg(4, parts));
    // A processor's cores take a group each: the smallest share the work most evenly.
    const auto items = static_cast<size_t>(count);
    NUVRA_RETURN_IF_ERROR(
        queue.EnqueueNDRangeKernel(_calculateParts, 1, nullptr, &items, _isProcessor ? &kOneItem : nullptr));
    NUVRA_RETURN_IF_ERROR(KeepOrder(queue));
    NUVRA_RETURN_IF_ERROR(_joinParts.SetArg(0, parts));
    NUVRA_RETURN_IF_ERROR(_joinParts.SetArg(1, &count, 1));
    NUVRA_RETURN_IF_ERROR(_joinParts.SetArg(2, &record.size, 1));
    NUVRA_RETURN_IF_ERROR(_joinParts.SetArg(3, *record.crc));
    return queue.EnqueueNDRangeKernel(_joinParts, 1, nullptr, &kOneItem, nullptr);
}

Result<void> OpenCLTaskCrc32C::FreeResources(const OpenCLContextRef&) {
    return ReleaseAll({&_calculateCrc, &_calculateParts, &_joinParts}, _program);
}

TaskRegistration<OpenCLTaskCrc32C> g_registration{"crc32c_task"};

}  // namespace

}  // namespace nuvra
