#include "task/image_stereo_sbs.h"

#include "image_stereo_sbs.cl.h"
#include "task/image_task.h"

namespace nuvra {

Result<void> OpenCLTaskSBSStereo::Init(const OpenCLContextRef& context) {
    NUVRA_RETURN_IF_ERROR(
        BuildProgram(context, kKey, kImageStereoSbsSource, "-cl-fast-relaxed-math", _program));
    NUVRA_RETURN_IF_ERROR(CreateKernels(_program, {{"InvertImage", &_kernel}}));
    _isInitialized = true;
    return {};
}

Result<void> OpenCLTaskSBSStereo::Execute(const OpenCLContextRef&, const OpenCLCommandQueueRef& queue,
                                          const void* parameters) {
    NUVRA_ASSIGN_OR_RETURN(const auto* record,
                           CheckParameters<StereoSbsParameters>(parameters, _isInitialized));
    if (record->width == 0 || record->height == 0) return OpenCLError(CL_INVALID_VALUE);
    NUVRA_RETURN_IF_ERROR(GetImageSize(record->first));
    NUVRA_RETURN_IF_ERROR(GetImageSize(record->second));
    NUVRA_ASSIGN_OR_RETURN(const ImageSize size, GetImageSize(record->destination));
    NUVRA_RETURN_IF_ERROR(CheckRectangle(size, record->x, record->y, record->width, record->height));
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(0, *record->first));
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(1, *record->second));
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(2, *record->destination));
    return EnqueueRectangle(queue, _kernel, record->x, record->y, record->width, record->height);
}

Result<void> OpenCLTaskSBSStereo::FreeResources(const OpenCLContextRef&) {
    return ReleaseAll({&_kernel}, _program);
}

namespace {

TaskRegistration<OpenCLTaskSBSStereo> g_registration{"image_stereo_sbs"};

}  // namespace

}  // namespace nuvra
