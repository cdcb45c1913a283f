#include "image_gamma.cl.h"
#include "task/image_task.h"

namespace nuvra {

namespace {

/// Raises the colours of a rectangle to a power, from one image into another.
class OpenCLTaskGammaImage : public OpenCLOneKernelTask {
public:
    static constexpr const char* kKey = "image.gamma";
    static constexpr const char* kClassId = "net.nuvra.opencl.task.gammaimage";
    static constexpr const char* kTypeName = ".OpenCLTaskGammaImage";

    Result<void> Init(const OpenCLContextRef& context) {
        return MakeKernel(context, kKey, kImageGammaSource, "InvertImage");
    }
    /// `parameters` is a `GammaImageParameters`.
    Result<void> Execute(const OpenCLContextRef& context, const OpenCLCommandQueueRef& queue,
                         const void* parameters);
};

Result<void> OpenCLTaskGammaImage::Execute(const OpenCLContextRef&, const OpenCLCommandQueueRef& queue,
                                           const void* parameters) {
    NUVRA_ASSIGN_OR_RETURN(const auto* record, CheckParameters<GammaImageParameters>(parameters));
    if (record->width == 0 || record->height == 0) return OpenCLError(CL_INVALID_VALUE);
    NUVRA_RETURN_IF_ERROR(CheckImage(record->source));
    NUVRA_ASSIGN_OR_RETURN(const ImageSize size, CheckImage(record->destination));
    NUVRA_RETURN_IF_ERROR(CheckRectangle(size, record->x, record->y, record->width, record->height));
    const auto gamma = static_cast<Float32>(record->gamma);
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(0, *record->source));
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(1, *record->destination));
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(2, &gamma, 1));
    return EnqueueRectangle(queue, _kernel, record->x, record->y, record->width, record->height);
}

TaskRegistration<OpenCLTaskGammaImage> g_registration{"image_gamma"};

}  // namespace

}  // namespace nuvra
