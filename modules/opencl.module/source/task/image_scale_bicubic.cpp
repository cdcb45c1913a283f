#include <algorithm>
#include <cmath>
#include <cstdio>

#include "image_scale_bicubic.cl.h"
#include "opencl_device.h"
#include "task/image_scale.h"
#include "task/image_task.h"
#include "task/task_base.h"

namespace nuvra {

namespace {

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
    enum CachedBuffer : Int { COLUMN_WEIGHTS, COLUMN_INDICES, ROW_WEIGHTS, ROW_INDICES, ROW_SUMS };
    struct Axis;
    static Result<void> MakeBuffers(Turn& turn, Axis& axis);
    Result<void> Prepare(const OpenCLCommandQueueRef& queue, const Axis& axis);
    Result<void> Scale(const OpenCLCommandQueueRef& queue, const ScaleTile& tile, Int64 sourceRows);

    size_t _group = 0;  ///< work-items that share the pixels of a source row
    OpenCLProgramRef _program;
    OpenCLKernelRef _scale;
    OpenCLKernelRef _sumRows;
    OpenCLKernelRef _preparePositive;
    OpenCLKernelRef _prepareNegative;
};

/// One axis of a call: its geometry, its cached buffers, and what `Prepare` writes to them.
struct OpenCLTaskScaleBicubic::Axis {
    const ScaleGeometry::Axis& geometry;
    CachedBuffer weightBuffer;
    CachedBuffer indexBuffer;
    Int32 taps;  ///< of a destination pixel
    OpenCLMemoryObjectRef weights{};
    OpenCLMemoryObjectRef indices{};
};

constexpr Int kPixelBytes = 4 * sizeof(Float32);  // as the kernels keep a pixel

/// A device's limit, at most `most`; 1 where it does not answer.
template <class Number>
size_t FindLimit(cl_device_id device, cl_device_info which, size_t unit, size_t most) {
    Number limit = 0;
    static_cast<void>(GetDeviceInfo(device, which, sizeof(limit), &limit, nullptr));
    return std::clamp<size_t>(static_cast<size_t>(limit) / unit, 1, most);
}

Result<void> OpenCLTaskScaleBicubic::Init(const OpenCLContextRef& context) {
    size_t pixels = 256;
    _group = 64;
    for (const cl_device_id device : context.GetDevices()) {
        pixels = FindLimit<cl_ulong>(device, CL_DEVICE_LOCAL_MEM_SIZE, kPixelBytes, pixels);
        _group = FindLimit<size_t>(device, CL_DEVICE_MAX_WORK_GROUP_SIZE, 1, _group);
    }
    char options[64];
    std::snprintf(options, sizeof(options), "%s -D PIXELS=%d", kRelaxedMath, static_cast<int>(pixels));
    NUVRA_RETURN_IF_ERROR(BuildProgram(context, kKey, kImageScaleBicubicSource, options, _program));
    return CreateKernels(_program, {{"ScaleBicubic", &_scale},
                                    {"SumRows", &_sumRows},
                                    {"PrepareBufferPositive", &_preparePositive},
                                    {"PrepareBufferNegative", &_prepareNegative}});
}

/// The taps of a destination pixel. CL_INVALID_VALUE for more than 32 bits hold.
Result<Int32> CountTaps(const ScaleGeometry::Axis& axis) {
    // Two destination pixels to each side; four source pixels where the picture grows.
    constexpr Int kFewestTaps = 4;
    const Int reach = static_cast<Int>(std::ceil(2 * std::fabs(axis.scale)));
    const Int taps = std::max(2 * reach + 1, kFewestTaps);
    if (taps > INT32_MAX) return OpenCLError(CL_INVALID_VALUE);
    return static_cast<Int32>(taps);
}

/// At least the source rows that `extent` neighbouring destination rows need.
Int64 CountSourceRows(const ScaleGeometry::Axis& axis, Int32 extent) {
    const Float64 scale = std::fabs(axis.scale);
    const Float64 sourceExtent = std::fabs(axis.sourceExtent);
    // The kernel rounds positions to 24 bits.
    const Float64 rounding = std::ldexp(sourceExtent, -22);
    const Float64 rows = (extent - 1) * scale + 4 * std::max(scale, 1.0) + 2 + rounding;
    return static_cast<Int64>(std::min(std::ceil(rows), sourceExtent));
}

/// The tile whose source rows, scaled to its columns, take at most 16 MiB, or a tile of one pixel.
ScaleTile FitTile(const ScaleGeometry& geometry) {
    constexpr Int64 kMostPixels = (Int64{16} << 20) / kPixelBytes;
    ScaleTile tile{0, 0, std::min(geometry.x.extent, kLargestTile),
                   std::min(geometry.y.extent, kLargestTile)};
    while (CountSourceRows(geometry.y, tile.height) * tile.width > kMostPixels) {
        Int32& longer = tile.height < tile.width ? tile.width : tile.height;
        if (longer == 1) break;
        longer = (longer + 1) / 2;
    }
    return tile;
}

Result<void> OpenCLTaskScaleBicubic::MakeBuffers(Turn& turn, Axis& axis) {
    // All taps together are at most four source extents and eight destination ones: less than 2^37 bytes.
    const Int extent = axis.geometry.extent;
    NUVRA_ASSIGN_OR_RETURN(axis.weights, turn.GetBuffer(extent * axis.taps * 4, axis.weightBuffer));
    NUVRA_ASSIGN_OR_RETURN(axis.indices, turn.GetBuffer(extent * 8, axis.indexBuffer));
    return {};
}

Result<void> OpenCLTaskScaleBicubic::Prepare(const OpenCLCommandQueueRef& queue, const Axis& axis) {
    const ScaleGeometry::Axis& geometry = axis.geometry;
    const bool isPositive = geometry.sourceExtent >= 1;
    const OpenCLKernelRef& kernel = isPositive ? _preparePositive : _prepareNegative;
    const Int32 size = isPositive ? geometry.sourceExtent - 1 : geometry.sourceExtent + 1;
    const Float32 inverse =
        std::fabs(static_cast<Float32>(geometry.extent) / static_cast<Float32>(geometry.sourceExtent));
    const Float32 halfFilterSize = 2 * std::fabs(geometry.scale);
    NUVRA_RETURN_IF_ERROR(kernel.SetArg(0, axis.indices));
    NUVRA_RETURN_IF_ERROR(kernel.SetArg(1, axis.weights));
    NUVRA_RETURN_IF_ERROR(kernel.SetArg(2, &geometry.scale, 1));
    NUVRA_RETURN_IF_ERROR(kernel.SetArg(3, &inverse, 1));
    NUVRA_RETURN_IF_ERROR(kernel.SetArg(4, &geometry.source, 1));
    NUVRA_RETURN_IF_ERROR(kernel.SetArg(5, &size, 1));
    NUVRA_RETURN_IF_ERROR(kernel.SetArg(6, &axis.taps, 1));
    NUVRA_RETURN_IF_ERROR(kernel.SetArg(7, &halfFilterSize, 1));
    const auto extent = static_cast<size_t>(geometry.extent);
    return queue.EnqueueNDRangeKernel(kernel, 1, nullptr, &extent, nullptr);
}

Result<void> OpenCLTaskScaleBicubic::Execute(const OpenCLContextRef& context,
                                             const OpenCLCommandQueueRef& queue, const void* parameters) {
    NUVRA_ASSIGN_OR_RETURN(const auto* record, CheckParameters<ScaleParameters>(parameters));
    NUVRA_RETURN_IF_ERROR(CheckImage(record->source));
    NUVRA_ASSIGN_OR_RETURN(const ImageSize size, CheckImage(record->destination));
    NUVRA_ASSIGN_OR_RETURN(const ScaleGeometry geometry, MakeScaleGeometry(*record, size));
    NUVRA_ASSIGN_OR_RETURN(const Int32 columnTaps, CountTaps(geometry.x));
    NUVRA_ASSIGN_OR_RETURN(const Int32 rowTaps, CountTaps(geometry.y));
    Turn turn(*this, context, queue);
    Axis columns{geometry.x, COLUMN_WEIGHTS, COLUMN_INDICES, columnTaps};
    Axis rows{geometry.y, ROW_WEIGHTS, ROW_INDICES, rowTaps};
    NUVRA_RETURN_IF_ERROR(MakeBuffers(turn, columns));
    NUVRA_RETURN_IF_ERROR(MakeBuffers(turn, rows));
    const ScaleTile largest = FitTile(geometry);
    const Int64 sourceRows = CountSourceRows(geometry.y, largest.height);
    NUVRA_ASSIGN_OR_RETURN(const OpenCLMemoryObjectRef sums,
                           turn.GetBuffer(sourceRows * largest.width * kPixelBytes, ROW_SUMS));
    NUVRA_RETURN_IF_ERROR(Prepare(queue, columns));
    NUVRA_RETURN_IF_ERROR(Prepare(queue, rows));

    const Int32 offset[] = {geometry.x.destination, geometry.y.destination};
    NUVRA_RETURN_IF_ERROR(_sumRows.SetArg(0, *record->source));
    NUVRA_RETURN_IF_ERROR(_sumRows.SetArg(1, sums));
    NUVRA_RETURN_IF_ERROR(_sumRows.SetArg(2, columns.indices));
    NUVRA_RETURN_IF_ERROR(_sumRows.SetArg(3, rows.indices));
    NUVRA_RETURN_IF_ERROR(_sumRows.SetArg(4, columns.weights));
    NUVRA_RETURN_IF_ERROR(_sumRows.SetArg(5, &columns.taps, 1));
    NUVRA_RETURN_IF_ERROR(_scale.SetArg(0, sums));
    NUVRA_RETURN_IF_ERROR(_scale.SetArg(1, *record->destination));
    NUVRA_RETURN_IF_ERROR(_scale.SetArg(2, rows.indices));
    NUVRA_RETURN_IF_ERROR(_scale.SetArg(3, rows.weights));
    NUVRA_RETURN_IF_ERROR(_scale.SetArg(4, &rows.taps, 1));
    NUVRA_RETURN_IF_ERROR(_scale.SetArg(6, offset, 2));
    return LaunchTiles(geometry, largest.width, largest.height, [&](const ScaleTile& tile) {
        return Scale(queue, tile, CountSourceRows(geometry.y, tile.height));
    });
}

/// Each launch needs the one before it, a tile's first one because the tiles share the sums' buffer.
Result<void> OpenCLTaskScaleBicubic::Scale(const OpenCLCommandQueueRef& queue, const ScaleTile& tile,
                                           Int64 sourceRows) {
    const Int32 place[] = {tile.x, tile.y, tile.width, tile.height};
    NUVRA_RETURN_IF_ERROR(_sumRows.SetArg(6, place, 4));
    NUVRA_RETURN_IF_ERROR(_scale.SetArg(5, place, 4));
    const size_t columns = (static_cast<size_t>(tile.width) + _group - 1) / _group * _group;
    const size_t globalSize[] = {columns, static_cast<size_t>(sourceRows)};
    const size_t localSize[] = {_group, 1};
    NUVRA_RETURN_IF_ERROR(KeepOrder(queue));
    NUVRA_RETURN_IF_ERROR(queue.EnqueueNDRangeKernel(_sumRows, 2, nullptr, globalSize, localSize));
    NUVRA_RETURN_IF_ERROR(KeepOrder(queue));
    return EnqueueRectangle(queue, _scale, tile.x, tile.y, tile.width, tile.height);
}

Result<void> OpenCLTaskScaleBicubic::FreeResources(const OpenCLContextRef&) {
    return ReleaseAll({&_scale, &_sumRows, &_preparePositive, &_prepareNegative}, _program);
}

TaskRegistration<OpenCLTaskScaleBicubic> g_registration{"image_scale_bicubic"};

}  // namespace

}  // namespace nuvra
