#include <algorithm>
#include <bit>
#include <cstdio>

#include "nuvra/open_cl.h"
#include "opencl_device.h"
#include "prefixsum.cl.h"
#include "prefixsum_serial.cl.h"
#include "task/task_base.h"

namespace nuvra {

namespace {

/// Exclusive prefix sums: blocks of four elements a work-item are scanned by a work-group each, their totals
/// within chunks of 16384 elements, and the chunks' totals through further levels.
///
/// On processors, which run the work-items of a group in turn, barriers and a second pass over the sums cost
/// more than the additions: there a work-item adds up a strip of the values as long as a core's share.
class OpenCLTaskPrefixsum : public OpenCLTaskBase {
public:
    static constexpr const char* kKey = "prefixsum";
    static constexpr const char* kClassId = "net.nuvra.opencl.task.prefixsum";
    static constexpr const char* kTypeName = ".OpenCLTaskPrefixsum";

    /// CL_DEVICE_NOT_FOUND without devices; where a device cannot run a group of 64, the error of the first
    /// build that failed, or CL_INVALID_WORK_GROUP_SIZE.
    Result<void> Init(const OpenCLContextRef& context);
    /// `parameters` is a `PrefixSumParameters`.
    Result<void> Execute(const OpenCLContextRef& context, const OpenCLCommandQueueRef& queue,
                         const void* parameters);
    Result<void> FreeResources(const OpenCLContextRef& context);
    /// Selector 0: the `paddedCount` for the count that `value` holds as a 64- or 32-bit integer, as an
    /// Int64; an Int32 0 for a count of 0 and for other values. Empty for other selectors.
    static Data QueryParameter(Int64 selector, const Data& value);

private:
    /// The last two are level 1's; each further level has the next pair.
    enum CachedBuffer : Int { BLOCK_SUMS, MERGED_SUMS, STRIP_TOTALS, LEVEL_INPUT, LEVEL_SUMS };
    struct Level;
    struct Call;

    Result<void> BuildForStrips(const OpenCLContextRef& context);
    Result<void> BuildForGroups(const OpenCLContextRef& context, const BaseArray<OpenCLDeviceRef>& devices);
    Result<void> BuildForGroupSize(const OpenCLContextRef& context);
    Result<bool> DoDevicesGrantGroupSize(const BaseArray<OpenCLDeviceRef>& devices) const;

    Result<void> Launch(const Call& call, const OpenCLKernelRef& kernel, size_t globalSize,
                        bool inGroups) const;
    Result<void> ScanStrips(Call& call) const;
    Result<void> ScanLevels(Call& call);
    Result<void> ScanBlocks(const Call& call, const Level& level, size_t globalSize) const;
    Result<void> ScanSmall(const Call& call, const OpenCLMemoryObjectRef& sums) const;
    Result<void> MakeLevels(Call& call, const OpenCLMemoryObjectRef& sums);
    Result<void> ScanLevel(const Call& call, Int index) const;
    Result<void> AddLevel(const Call& call, Int index) const;
    static Result<void> ReadTotal(const Call& call);

    UInt32 _strips = 0;  ///< 0 where values are scanned by groups
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
    OpenCLKernelRef _sumStrips;
    OpenCLKernelRef _scanStrips;
    OpenCLKernelRef _scanStripsToPairs;
};

constexpr UInt32 kChunkShift = 14;
constexpr Int64 kChunk = Int64{1} << kChunkShift;
constexpr Int64 kMaxCount = Int64{1} << 31;
constexpr UInt32 kSmallestGroup = 64;
constexpr UInt32 kLargestGroup = 4096;  // a block of four elements a work-item is then a whole chunk
constexpr size_t kLocalBytes = 2 * sizeof(UInt32);  // of local memory a work-item of a scan
constexpr Int kMaxLevels = 3;                       // of 2^31 elements
constexpr UInt32 kVector = 8;                       // values that a strip's scan takes at once
constexpr Int64 kStripsWorthwhile = 1 << 18;        // values
// Adding up strips before they are scanned reads all values twice. Two cores lose by that: one alone nearly
// takes what the memory gives.
constexpr UInt32 kCoresWorthwhile = 3;
constexpr UInt32 kStripsACore = 4;  // cores that others use, too, finish at different times

/// The largest group within the device's limits; a kernel's own limit may be lower.
Result<UInt32> FindGroupSize(const OpenCLDeviceRef& device) {
    NUVRA_ASSIGN_OR_RETURN(const Data data, device.GetInfo(OpenCLDeviceInfo::MAX_WORK_ITEM_SIZES));
    const auto* sizes = data.Find<BaseArray<Int64>>();
    if (sizes == nullptr || sizes->IsEmpty()) return OutOfMemoryError();
    const auto items = static_cast<UInt64>(std::max<Int64>((*sizes)[0], 0));
    const OpenCLDeviceNumbers& numbers = device.Get()->numbers;
    const UInt64 group = std::max<size_t>(numbers.maxWorkGroupSize, 1);
    const UInt64 scanned = numbers.localMemorySize / kLocalBytes;
    return static_cast<UInt32>(std::bit_floor(std::min({items, group, scanned, UInt64{kLargestGroup}})));
}

/// The values of one level, their sums, and how many there are; the values of a level are the totals of the
/// chunks of the level below.
struct OpenCLTaskPrefixsum::Level {
    Int64 count = 0;
    Int64 chunks = 0;
    OpenCLMemoryObjectRef input;
    OpenCLMemoryObjectRef sums;
};

/// The state of one `Execute`.
struct OpenCLTaskPrefixsum::Call {
    const PrefixSumParameters& record;
    Turn turn;
    OpenCLMemoryObjectRef blockSums{};
    Level levels[kMaxLevels]{};
    Int levelCount = 0;
};

Result<void> OpenCLTaskPrefixsum::Init(const OpenCLContextRef& context) {
    BaseArray<OpenCLDeviceRef> devices;
    UInt32 cores = 0;
    for (const cl_device_id id : context.GetDevices()) {
        NUVRA_ASSIGN_OR_RETURN(const OpenCLDeviceRef device, OpenCL::GetDeviceFromId(id));
        cores = std::max(cores, device.Get()->numbers.maxComputeUnits);
        NUVRA_RETURN_IF_ERROR(devices.Append(device));
    }
    if (devices.IsEmpty()) return OpenCLError(CL_DEVICE_NOT_FOUND);
    _strips = 0;
    if (!AreProcessors(context)) return BuildForGroups(context, devices);
    _strips = cores < kCoresWorthwhile ? 1 : cores * kStripsACore;
    return BuildForStrips(context);
}

Result<void> OpenCLTaskPrefixsum::BuildForStrips(const OpenCLContextRef& context) {
    _groupSize = 1;
    NUVRA_RETURN_IF_ERROR(BuildProgram(context, kKey, kPrefixsumSerialSource, nullptr, _program));
    return CreateKernels(_program, {{"sumStrips", &_sumStrips},
                                    {"scanStrips", &_scanStrips},
                                    {"scanStripsToPairs", &_scanStripsToPairs}});
}

Result<void> OpenCLTaskPrefixsum::BuildForGroups(const OpenCLContextRef& context,
                                                 const BaseArray<OpenCLDeviceRef>& devices) {
    _groupSize = kLargestGroup;
    for (const OpenCLDeviceRef& device : devices) {
        NUVRA_ASSIGN_OR_RETURN(const UInt32 groupSize, FindGroupSize(device));
        _groupSize = std::min(_groupSize, groupSize);
    }
    // Registers and local memory may limit a kernel to smaller groups than the device's maximum. The runtime
    // tells so for a built kernel, or refuses to build it.
    Result<void> firstBuild;
    OpenCLProgramRef firstProgram;
    for (; _groupSize >= kSmallestGroup; _groupSize /= 2) {
        const Result<void> built = BuildForGroupSize(context);
        if (built.IsOk()) {
            NUVRA_ASSIGN_OR_RETURN(const bool isGranted, DoDevicesGrantGroupSize(devices));
            if (isGranted) return {};
        } else if (firstBuild.IsOk()) {
            firstBuild = built;
            firstProgram = _program;
        }
    }
    if (firstBuild.IsOk()) return OpenCLError(CL_INVALID_WORK_GROUP_SIZE);
    WriteBuildLogs(context, kKey, firstProgram);
    return firstBuild;
}

Result<void> OpenCLTaskPrefixsum::BuildForGroupSize(const OpenCLContextRef& context) {
    char options[128];
    std::snprintf(options, sizeof(options), "-D WORKGROUP_SIZE=%d -D PREFIX_SUM_ARRAY_SHIFT=%d",
                  static_cast<int>(_groupSize), static_cast<int>(kChunkShift));
    NUVRA_RETURN_IF_ERROR(CompileProgram(context, kPrefixsumSource, options, _program));
    return CreateKernels(_program, {{"scanExclusiveLocal1", &_scanExclusiveLocal1},
                                    {"scanExclusiveLocal2", &_scanExclusiveLocal2},
                                    {"uniformUpdate1", &_uniformUpdate1},
                                    {"uniformUpdate2", &_uniformUpdate2},
                                    {"mergeResult", &_mergeResult},
                                    {"buildNextBuffer", &_buildNextBuffer},
                                    {"addLevel1", &_addLevel1},
                                    {"addLevel2", &_addLevel2}});
}

Result<bool> OpenCLTaskPrefixsum::DoDevicesGrantGroupSize(const BaseArray<OpenCLDeviceRef>& devices) const {
    for (const OpenCLDeviceRef& device : devices) {
        const auto ask = [&](const OpenCLKernelRef& kernel, UInt32 which) -> Result<size_t> {
            size_t answer = 0;
            NUVRA_RETURN_IF_ERROR(kernel.GetWorkGroupInfo(device, which, sizeof(answer), &answer));
            return answer;
        };
        // Some runtimes report their vector width as the limit of every kernel, even of the smallest, and run
        // larger groups: the device's own limit counts then. OpenCL 1.0 has no multiple.
        const size_t multiple =
            ask(_mergeResult, OpenCLWorkGroupInfo::PREFERRED_WORK_GROUP_SIZE_MULTIPLE).GetValue();
        NUVRA_ASSIGN_OR_RETURN(const size_t most, ask(_mergeResult, OpenCLWorkGroupInfo::WORK_GROUP_SIZE));
        for (const OpenCLKernelRef* kernel :
             {&_scanExclusiveLocal1, &_scanExclusiveLocal2, &_uniformUpdate1, &_uniformUpdate2}) {
            NUVRA_ASSIGN_OR_RETURN(const size_t granted, ask(*kernel, OpenCLWorkGroupInfo::WORK_GROUP_SIZE));
            const bool isWidth = granted > 0 && granted == multiple && most == multiple;
            if (granted < _groupSize && !isWidth) return false;
        }
    }
    return true;
}

Result<void> OpenCLTaskPrefixsum::Execute(const OpenCLContextRef& context, const OpenCLCommandQueueRef& queue,
                                          const void* parameters) {
    NUVRA_ASSIGN_OR_RETURN(const auto* record, CheckParameters<PrefixSumParameters>(parameters));
    if (record->input == nullptr || record->output == nullptr || !*record->input || !*record->output ||
        *record->input == *record->output)
        return OpenCLError(CL_INVALID_VALUE);
    const Int64 padded = record->paddedCount;
    if (record->count < 1 || padded < record->count || padded < kChunk ||
        !std::has_single_bit(static_cast<UInt64>(padded)))
        return OpenCLError(CL_INVALID_VALUE);
    if (padded > kMaxCount) return OpenCLError(CL_INVALID_BUFFER_SIZE);
    NUVRA_RETURN_IF_ERROR(CheckBuffer(record->input, padded * 4));
    NUVRA_RETURN_IF_ERROR(CheckBuffer(record->output, padded * (record->merge ? 8 : 4)));

    Call call{*record, {*this, context, queue}};
    NUVRA_RETURN_IF_ERROR(_strips > 0 ? ScanStrips(call) : ScanLevels(call));
    return record->total != nullptr ? ReadTotal(call) : Result<void>();
}

/// A single strip needs no totals: its kernel does not read the buffer that stands in their place.
Result<void> OpenCLTaskPrefixsum::ScanStrips(Call& call) const {
    const PrefixSumParameters& record = call.record;
    const auto vectors = static_cast<UInt32>((record.count + kVector - 1) / kVector);
    const UInt32 most = record.count < kStripsWorthwhile ? 1 : _strips;
    const UInt32 stripVectors = (vectors + most - 1) / most;
    const UInt32 strips = (vectors + stripVectors - 1) / stripVectors;
    OpenCLMemoryObjectRef totals = *record.input;
    if (strips > 1) {
        NUVRA_ASSIGN_OR_RETURN(totals, call.turn.GetBuffer(Int{strips} * 4, STRIP_TOTALS));
        NUVRA_RETURN_IF_ERROR(_sumStrips.SetArg(0, totals));
        NUVRA_RETURN_IF_ERROR(_sumStrips.SetArg(1, *record.input));
        NUVRA_RETURN_IF_ERROR(_sumStrips.SetArg(2, &stripVectors, 1));
        NUVRA_RETURN_IF_ERROR(Launch(call, _sumStrips, strips - 1, true));
    }
    const OpenCLKernelRef& scan = record.merge ? _scanStripsToPairs : _scanStrips;
    NUVRA_RETURN_IF_ERROR(scan.SetArg(0, *record.output));
    NUVRA_RETURN_IF_ERROR(scan.SetArg(1, *record.input));
    NUVRA_RETURN_IF_ERROR(scan.SetArg(2, totals));
    NUVRA_RETURN_IF_ERROR(scan.SetArg(3, &vectors, 1));
    NUVRA_RETURN_IF_ERROR(scan.SetArg(4, &stripVectors, 1));
    return Launch(call, scan, strips, true);
}

Result<void> OpenCLTaskPrefixsum::ScanLevels(Call& call) {
    const PrefixSumParameters& record = call.record;
    OpenCLMemoryObjectRef sums = *record.output;
    if (record.merge) {
        NUVRA_ASSIGN_OR_RETURN(sums, call.turn.GetBuffer(record.paddedCount * 4, MERGED_SUMS));
    }
    const Int64 block = Int64{4} * _groupSize;
    if (block >= record.count) return ScanSmall(call, sums);
    const Int64 blocks = std::max({16777216 / block, kChunk, record.paddedCount / block});
    NUVRA_ASSIGN_OR_RETURN(call.blockSums, call.turn.GetBuffer(blocks * 4, BLOCK_SUMS));
    NUVRA_RETURN_IF_ERROR(MakeLevels(call, sums));
    for (Int k = 0; k < call.levelCount; k++) NUVRA_RETURN_IF_ERROR(ScanLevel(call, k));
    for (Int k = call.levelCount - 1; k > 0; k--) NUVRA_RETURN_IF_ERROR(AddLevel(call, k));
    return {};
}

/// Every launch needs the ones before it.
Result<void> OpenCLTaskPrefixsum::Launch(const Call& call, const OpenCLKernelRef& kernel, size_t globalSize,
                                         bool inGroups) const {
    const size_t localSize = _groupSize;
    NUVRA_RETURN_IF_ERROR(call.turn.GetQueue().EnqueueNDRangeKernel(kernel, 1, nullptr, &globalSize,
                                                                    inGroups ? &localSize : nullptr));
    return KeepOrder(call.turn.GetQueue());
}

Result<void> OpenCLTaskPrefixsum::ScanBlocks(const Call& call, const Level& level, size_t globalSize) const {
    const UInt32 block = 4 * _groupSize;
    NUVRA_RETURN_IF_ERROR(_scanExclusiveLocal1.SetArg(0, level.sums));
    NUVRA_RETURN_IF_ERROR(_scanExclusiveLocal1.SetArg(1, level.input));
    NUVRA_RETURN_IF_ERROR(_scanExclusiveLocal1.SetArgLocalMemory(2, _groupSize * kLocalBytes));
    NUVRA_RETURN_IF_ERROR(_scanExclusiveLocal1.SetArg(3, &block, 1));
    return Launch(call, _scanExclusiveLocal1, globalSize, true);
}

/// All real elements are in the first block.
Result<void> OpenCLTaskPrefixsum::ScanSmall(const Call& call, const OpenCLMemoryObjectRef& sums) const {
    const PrefixSumParameters& record = call.record;
    const Level level{record.paddedCount, 1, *record.input, sums};
    NUVRA_RETURN_IF_ERROR(ScanBlocks(call, level, static_cast<size_t>(record.paddedCount / 4)));
    if (!record.merge) return {};
    NUVRA_RETURN_IF_ERROR(_mergeResult.SetArg(0, *record.output));
    NUVRA_RETURN_IF_ERROR(_mergeResult.SetArg(1, sums));
    NUVRA_RETURN_IF_ERROR(_mergeResult.SetArg(2, *record.input));
    return Launch(call, _mergeResult, static_cast<size_t>(record.count), false);
}

Result<void> OpenCLTaskPrefixsum::MakeLevels(Call& call, const OpenCLMemoryObjectRef& sums) {
    const auto chunksOf = [](Int64 count) { return (count + kChunk - 1) / kChunk; };
    const PrefixSumParameters& record = call.record;
    call.levels[0] = {record.paddedCount, chunksOf(record.paddedCount), *record.input, sums};
    for (call.levelCount = 1; call.levels[call.levelCount - 1].chunks >= 2; call.levelCount++) {
        const Int k = call.levelCount;
        Level& level = call.levels[k];
        level.count = call.levels[k - 1].chunks;
        level.chunks = chunksOf(level.count);
        const Int size = std::max(level.count, kChunk) * 4;
        const Int pair = 2 * (k - 1);
        NUVRA_ASSIGN_OR_RETURN(level.input, call.turn.GetBuffer(size, LEVEL_INPUT + pair));
        level.sums = level.input;
        // Several blocks are combined by their last values, which an in-place scan would overwrite.
        if (level.count >= Int64{4} * _groupSize) {
            NUVRA_ASSIGN_OR_RETURN(level.sums, call.turn.GetBuffer(size, LEVEL_SUMS + pair));
        }
    }
    return {};
}

Result<void> OpenCLTaskPrefixsum::ScanLevel(const Call& call, Int index) const {
    const Level& level = call.levels[index];
    const PrefixSumParameters& record = call.record;
    const Int64 group = _groupSize;
    const auto quarter = static_cast<size_t>(level.count / 4);
    if (4 * group <= level.count) {
        NUVRA_RETURN_IF_ERROR(ScanBlocks(call, level, quarter));
        const auto blocksPerChunk = static_cast<UInt32>(kChunk / (4 * group));
        const auto totalBlocks = static_cast<UInt32>(blocksPerChunk * level.chunks);
        NUVRA_RETURN_IF_ERROR(_scanExclusiveLocal2.SetArg(0, call.blockSums));
        NUVRA_RETURN_IF_ERROR(_scanExclusiveLocal2.SetArg(1, level.sums));
        NUVRA_RETURN_IF_ERROR(_scanExclusiveLocal2.SetArg(2, level.input));
        NUVRA_RETURN_IF_ERROR(_scanExclusiveLocal2.SetArgLocalMemory(3, _groupSize * kLocalBytes));
        NUVRA_RETURN_IF_ERROR(_scanExclusiveLocal2.SetArg(4, &totalBlocks, 1));
        NUVRA_RETURN_IF_ERROR(_scanExclusiveLocal2.SetArg(5, &blocksPerChunk, 1));
        const size_t wholeGroups = (size_t{totalBlocks} + _groupSize - 1) / _groupSize * _groupSize;
        NUVRA_RETURN_IF_ERROR(Launch(call, _scanExclusiveLocal2, wholeGroups, true));
        const bool writesPairs = call.levelCount == 1 && record.merge;
        const OpenCLKernelRef& update = writesPairs ? _uniformUpdate2 : _uniformUpdate1;
        NUVRA_RETURN_IF_ERROR(update.SetArg(0, level.sums));
        NUVRA_RETURN_IF_ERROR(update.SetArg(1, call.blockSums));
        if (writesPairs) {
            NUVRA_RETURN_IF_ERROR(update.SetArg(2, *record.input));
            NUVRA_RETURN_IF_ERROR(update.SetArg(3, *record.output));
        }
        NUVRA_RETURN_IF_ERROR(Launch(call, update, quarter, true));
    } else {
        NUVRA_RETURN_IF_ERROR(ScanBlocks(call, level, std::max<size_t>(quarter, _groupSize)));
    }
    if (index == call.levelCount - 1) return {};
    // The totals are at the ends of this level's chunks.
    const UInt32 scale = static_cast<UInt32>(kChunk);
    NUVRA_RETURN_IF_ERROR(_buildNextBuffer.SetArg(0, call.levels[index + 1].input));
    NUVRA_RETURN_IF_ERROR(_buildNextBuffer.SetArg(1, level.sums));
    NUVRA_RETURN_IF_ERROR(_buildNextBuffer.SetArg(2, level.input));
    NUVRA_RETURN_IF_ERROR(_buildNextBuffer.SetArg(3, &scale, 1));
    return Launch(call, _buildNextBuffer, static_cast<size_t>(level.chunks), false);
}

/// Adds a level's sums to the level below it.
Result<void> OpenCLTaskPrefixsum::AddLevel(const Call& call, Int index) const {
    const Level& level = call.levels[index];
    const Level& below = call.levels[index - 1];
    if (call.record.merge && index == 1) {
        NUVRA_RETURN_IF_ERROR(_addLevel2.SetArg(0, below.sums));
        NUVRA_RETURN_IF_ERROR(_addLevel2.SetArg(1, level.sums));
        NUVRA_RETURN_IF_ERROR(_addLevel2.SetArg(2, *call.record.output));
        NUVRA_RETURN_IF_ERROR(_addLevel2.SetArg(3, *call.record.input));
        return Launch(call, _addLevel2, static_cast<size_t>(call.record.count), false);
    }
    NUVRA_RETURN_IF_ERROR(_addLevel1.SetArg(0, below.sums));
    NUVRA_RETURN_IF_ERROR(_addLevel1.SetArg(1, level.sums));
    return Launch(call, _addLevel1, static_cast<size_t>(below.count), false);
}

/// The last element's exclusive sum plus its value.
Result<void> OpenCLTaskPrefixsum::ReadTotal(const Call& call) {
    const PrefixSumParameters& record = call.record;
    const auto last = static_cast<size_t>(record.count - 1);
    UInt32 parts[2] = {};
    if (record.merge) {
        NUVRA_RETURN_IF_ERROR(
            call.turn.GetQueue().EnqueueReadBuffer(*record.output, true, last * 8, 8, parts));
    } else {
        NUVRA_RETURN_IF_ERROR(
            call.turn.GetQueue().EnqueueReadBuffer(*record.output, true, last * 4, 4, &parts[0]));
        NUVRA_RETURN_IF_ERROR(
            call.turn.GetQueue().EnqueueReadBuffer(*record.input, true, last * 4, 4, &parts[1]));
    }
    *record.total = parts[0] + parts[1];
    return {};
}

Result<void> OpenCLTaskPrefixsum::FreeResources(const OpenCLContextRef&) {
    return ReleaseAll(
        {&_scanExclusiveLocal1, &_scanExclusiveLocal2, &_uniformUpdate1, &_uniformUpdate2, &_mergeResult,
         &_buildNextBuffer, &_addLevel1, &_addLevel2, &_sumStrips, &_scanStrips, &_scanStripsToPairs},
        _program);
}

Data OpenCLTaskPrefixsum::QueryParameter(Int64 selector, const Data& value) {
    if (selector != 0) return Data();
    Int64 count = 0;
    if (const Int64* wide = value.Find<Int64>()) count = *wide;
    if (const Int32* narrow = value.Find<Int32>()) count = *narrow;
    if (count == 0) return Data::Of(Int32{0}).GetValue();
    // Counts above 2^62 get 2^62, which no `Execute` accepts.
    const auto atLeastOne = static_cast<UInt64>(std::max<Int64>(count, 1));
    const auto padded = static_cast<Int64>(std::bit_ceil(std::min(atLeastOne, UInt64{1} << 62)));
    return Data::Of(std::max(padded, kChunk)).GetValue();
}

TaskRegistration<OpenCLTaskPrefixsum> g_registration{"prefixsum"};

}  // namespace

}  // namespace nuvra
