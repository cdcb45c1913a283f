#include "image_scale_nearest.cl.h"
#include "task/image_scale.h"
#include "task/image_task.h"

namespace nuvra {

namespace {

/// Scales a rectangle, each pixel being the nearest of the source.
class OpenCLTaskScaleNearest : public OpenCLOneKernelTask {
public:
    static constexpr const char* kKey = "image.scalenearest";
    static constexpr const char* kClassId = "net.nuvra.opencl.task.scalenearest";
    static constexpr const char* kTypeName = ".OpenCLTaskScaleNearest";

    Result<void> Init(const OpenCLContextRef& context) {
        return MakeKernel(context, kKey, kImageScaleNearestSource, "ScaleNearest");
    }
    /// `parameters` is a `ScaleParameters`.
    Result<void> Execute(const OpenCLContextRef& context, const OpenCLCommandQueueRef& queue,
                         const void* parameters);
};

Result<void> OpenCLTaskScaleNearest::Execute(const OpenCLContextRef&, const OpenCLCommandQueueRef& queue,
                                             const void* parameters) {
    NUVRA_ASSIGN_OR_RETURN(const auto* record, CheckParameters<ScaleParameters>(parameters));
    NUVRA_RETURN_IF_ERROR(CheckImage(record->source));
    NUVRA_ASSIGN_OR_RETURN(const ImageSize size, CheckImage(record->destination));
    NUVRA_ASSIGN_OR_RETURN(const ScaleGeometry geometry, MakeScaleGeometry(*record, size));
    const auto& [x, y] = geometry;
    const Int32 offsets[] = {x.source, y.source, x.destination, y.destination};
    const Float32 scale[] = {x.scale, y.scale};
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(0, *record->source));
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(1, *record->destination));
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(2, offsets, 4));
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(3, scale, 2));
    return LaunchTiles(geometry, kLargestTile, kLargestTile, [&](const ScaleTile& tile) {
        return EnqueueRectangle(queue, _kernel, tile.x, tile.y, tile.width, tile.height);
    });
}

TaskRegistration<OpenCLTaskScaleNearest> g_registration{"image_scale_nearest"};

}  // namespace

}  // namespace nuvra
