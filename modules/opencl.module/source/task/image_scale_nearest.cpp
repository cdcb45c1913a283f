#include "task/image_scale_nearest.h"

#include "image_scale_nearest.cl.h"
#include "task/image_scale.h"

namespace nuvra {

Result<void> OpenCLTaskScaleNearest::Init(const OpenCLContextRef& context) {
    NUVRA_RETURN_IF_ERROR(
        BuildProgram(context, kKey, kImageScaleNearestSource, "-cl-fast-relaxed-math", _program));
    NUVRA_RETURN_IF_ERROR(CreateKernels(_program, {{"ScaleNearest", &_kernel}}));
    _isInitialized = true;
    return {};
}

Result<void> OpenCLTaskScaleNearest::Execute(const OpenCLContextRef&, const OpenCLCommandQueueRef& queue,
                                             const void* parameters) {
    NUVRA_ASSIGN_OR_RETURN(const auto* record, CheckParameters<ScaleParameters>(parameters, _isInitialized));
    NUVRA_ASSIGN_OR_RETURN(const ScaleGeometry geometry, MakeScaleGeometry(*record));
    const auto& [x, y] = geometry;
    const Int32 offsets[] = {x.source, y.source, x.destination, y.destination};
    const Float32 scale[] = {x.scale, y.scale};
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(0, *record->source));
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(1, *record->destination));
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(2, offsets, 4));
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(3, scale, 2));
    return EnqueueTiles(queue, _kernel, geometry);
}

Result<void> OpenCLTaskScaleNearest::FreeResources(const OpenCLContextRef&) {
    return ReleaseAll({&_kernel}, _program);
}

namespace {

TaskRegistration<OpenCLTaskScaleNearest> g_registration{"image_scale_nearest"};

}  // namespace

}  // namespace nuvra
