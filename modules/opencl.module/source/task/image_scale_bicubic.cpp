#include <cmath>

#include "image_scale_bicubic.cl.h"
#include "task/image_scale.h"
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
    enum CachedBuffer : Int { COLUMN_WEIGHTS, COLUMN_INDICES, ROW_WEIGHTS, ROW_INDICES };
    struct Axis;
    static Result<void> MakeBuffers(Turn& turn, Axis& axis);
    Result<void> Prepare(const OpenCLCommandQueueRef& queue, const Axis& axis);

    OpenCLProgramRef _program;
    OpenCLKernelRef _scale;
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

Result<void> OpenCLTaskScaleBicubic::Init(const OpenCLContextRef& context) {
    NUVRA_RETURN_IF_ERROR(BuildProgram(context, kKey, kImageScaleBicubicSource, kRelaxedMath, _program));
    return CreateKernels(_program, {{"ScaleBicubic", &_scale},
                                    {"PrepareBufferPositive", &_preparePositive},
                                    {"PrepareBufferNegative", &_prepareNegative}});
}

/// The taps of a destination pixel, a multiple of `multiple`. CL_INVALID_VALUE for more than 32 bits hold.
Result<Int32> CountTaps(const ScaleGeometry::Axis& axis, Int multiple) {
    // Two destination pixels to each side; four source pixels where the picture grows.
    constexpr Int kFewestTaps = 4;
    const Int reach = static_cast<Int>(std::ceil(2 * std::fabs(axis.scale)));
    const Int taps = std::max(2 * reach + 1, kFewestTaps);
    const Int padded = (taps + multiple - 1) / multiple * multiple;
    if (padded > INT32_MAX) return OpenCLError(CL_INVALID_VALUE);
    return static_cast<Int32>(padded);
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
    // The columns' taps are read in groups of four.
    NUVRA_ASSIGN_OR_RETURN(const Int32 columnTaps, CountTaps(geometry.x, 4));
    NUVRA_ASSIGN_OR_RETURN(const Int32 rowTaps, CountTaps(geometry.y, 1));
    Turn turn(*this, context, queue);
    Axis columns{geometry.x, COLUMN_WEIGHTS, COLUMN_INDICES, columnTaps};
    Axis rows{geometry.y, ROW_WEIGHTS, ROW_INDICES, rowTaps};
    NUVRA_RETURN_IF_ERROR(MakeBuffers(turn, columns));
    NUVRA_RETURN_IF_ERROR(MakeBuffers(turn, rows));
    NUVRA_RETURN_IF_ERROR(Prepare(queue, columns));
    NUVRA_RETURN_IF_ERROR(Prepare(queue, rows));
    NUVRA_RETURN_IF_ERROR(KeepOrder(queue));

    const Int32 filterWidth = columns.taps / 4;
    const Int32 offset[] = {geometry.x.destination, geometry.y.destination};
    NUVRA_RETURN_IF_ERROR(_scale.SetArg(0, *record->source));
    NUVRA_RETURN_IF_ERROR(_scale.SetArg(1, *record->destination));
    NUVRA_RETURN_IF_ERROR(_scale.SetArg(2, columns.indices));
    NUVRA_RETURN_IF_ERROR(_scale.SetArg(3, rows.indices));
    NUVRA_RETURN_IF_ERROR(_scale.SetArg(4, columns.weights));
    NUVRA_RETURN_IF_ERROR(_scale.SetArg(5, rows.weights));
    NUVRA_RETURN_IF_ERROR(_scale.SetArg(6, &filterWidth, 1));
    NUVRA_RETURN_IF_ERROR(_scale.SetArg(7, &rows.taps, 1));
    NUVRA_RETURN_IF_ERROR(_scale.SetArg(8, offset, 2));
    return EnqueueTiles(queue, _scale, geometry);
}

Result<void> OpenCLTaskScaleBicubic::FreeResources(const OpenCLContextRef&) {
    return ReleaseAll({&_scale, &_preparePositive, &_prepareNegative}, _program);
}

TaskRegistration<OpenCLTaskScaleBicubic> g_registration{"image_scale_bicubic"};

}  // namespace

}  // namespace nuvra
