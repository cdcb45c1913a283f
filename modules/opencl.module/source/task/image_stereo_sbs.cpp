#include "image_stereo_sbs.cl.h"
#include "task/image_task.h"

namespace nuvra {

namespace {

/// Packs two images side by side into one of the same width.
class OpenCLTaskSBSStereo : public OpenCLOneKernelTask {
public:
    static constexpr const char* kKey = "image.stereo.sbs";
    static constexpr const char* kClassId = "net.nuvra.opencl.task.stereo.sbs";
    static constexpr const char* kTypeName = ".OpenCLTaskSBSStereo";

    Result<void> Init(const OpenCLContextRef& context) {
        return MakeKernel(context, kKey, kImageStereoSbsSource, "InvertImage");
    }
    /// `parameters` is a `StereoSbsParameters`.
    Result<void> Execute(const OpenCLContextRef& context, const OpenCLCommandQueueRef& queue,
                         const void* parameters);
};

Result<void> OpenCLTaskSBSStereo::Execute(const OpenCLContextRef&, const OpenCLCommandQueueRef& queue,
                                          const void* parameters) {
    NUVRA_ASSIGN_OR_RETURN(const auto* record, CheckParameters<StereoSbsParameters>(parameters));
    if (record->width == 0 || record->height == 0) return OpenCLError(CL_INVALID_VALUE);
    NUVRA_RETURN_IF_ERROR(CheckImage(record->first));
    NUVRA_RETURN_IF_ERROR(CheckImage(record->second));
    NUVRA_ASSIGN_OR_RETURN(const ImageSize size, CheckImage(record->destination));
    if (*record->first == *record->destination || *record->second == *record->destination)
        return OpenCLError(CL_INVALID_VALUE);
    NUVRA_RETURN_IF_ERROR(CheckRectangle(size, record->x, record->y, record->width, record->height));
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(0, *record->first));
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(1, *record->second));
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(2, *record->destination));
    return EnqueueRectangle(queue, _kernel, record->x, record->y, record->width, record->height);
}

TaskRegistration<OpenCLTaskSBSStereo> g_registration{"image_stereo_sbs"};

}  // namespace

}  // namespace nuvra
