#include "task/image_gamma.h"

#include "image_gamma.cl.h"
#include "task/image_task.h"

namespace nuvra {

Result<void> OpenCLTaskGammaImage::Init(const OpenCLContextRef& context) {
    NUVRA_RETURN_IF_ERROR(BuildProgram(context, kKey, kImageGammaSource, "-cl-fast-relaxed-math", _program));
    NUVRA_RETURN_IF_ERROR(CreateKernels(_program, {{"InvertImage", &_kernel}}));
    _isInitialized = true;
    return {};
}

Result<void> OpenCLTaskGammaImage::Execute(const OpenCLContextRef&, const OpenCLCommandQueueRef& queue,
                                           const void* parameters) {
    NUVRA_ASSIGN_OR_RETURN(const auto* record,
                           CheckParameters<GammaImageParameters>(parameters, _isInitialized));
    if (record->width == 0 || record->height == 0) return OpenCLError(CL_INVALID_VALUE);
    NUVRA_RETURN_IF_ERROR(GetImageSize(record->source));
    NUVRA_ASSIGN_OR_RETURN(const ImageSize size, GetImageSize(record->destination));
    NUVRA_RETURN_IF_ERROR(CheckRectangle(size, record->x, record->y, record->width, record->height));
    const auto gamma = static_cast<Float32>(record->gamma);
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(0, *record->source));
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(1, *record->destination));
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(2, &gamma, 1));
    return EnqueueRectangle(queue, _kernel, record->x, record->y, record->width, record->height);
}

Result<void> OpenCLTaskGammaImage::FreeResources(const OpenCLContextRef&) {
    return ReleaseAll({&_kernel}, _program);
}

namespace {

TaskRegistration<OpenCLTaskGammaImage> g_registration{"image_gamma"};

}  // namespace

}  // namespace nuvra
