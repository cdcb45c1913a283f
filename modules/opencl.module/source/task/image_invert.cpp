#include "image_invert.cl.h"
#include "task/image_task.h"

namespace nuvra {

namespace {

/// Inverts the colours of a rectangle from one image into another.
class OpenCLTaskInvertImage : public OpenCLOneKernelTask {
public:
    static constexpr const char* kKey = "image.invert";
    static constexpr const char* kClassId = "net.nuvra.opencl.task.invertimage";
    static constexpr const char* kTypeName = ".OpenCLTaskInvertImage";

    Result<void> Init(const OpenCLContextRef& context) {
        return MakeKernel(context, kKey, kImageInvertSource, "InvertImage");
    }
    /// `parameters` is an `InvertImageParameters`.
    Result<void> Execute(const OpenCLContextRef& context, const OpenCLCommandQueueRef& queue,
                         const void* parameters);
};

Result<void> OpenCLTaskInvertImage::Execute(const OpenCLContextRef&, const OpenCLCommandQueueRef& queue,
                                            const void* parameters) {
    NUVRA_ASSIGN_OR_RETURN(const auto* record, CheckParameters<InvertImageParameters>(parameters));
    if (record->width == 0 || record->height == 0) return OpenCLError(CL_INVALID_VALUE);
    NUVRA_RETURN_IF_ERROR(CheckImage(record->source));
    NUVRA_ASSIGN_OR_RETURN(const ImageSize size, CheckImage(record->destination));
    NUVRA_RETURN_IF_ERROR(CheckRectangle(size, record->x, record->y, record->width, record->height));
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(0, *record->source));
    NUVRA_RETURN_IF_ERROR(_kernel.SetArg(1, *record->destination));
    return EnqueueRectangle(queue, _kernel, record->x, record->y, record->width, record->height);
}

TaskRegistration<OpenCLTaskInvertImage> g_registration{"image_invert"};

}  // namespace

}  // namespace nuvra
