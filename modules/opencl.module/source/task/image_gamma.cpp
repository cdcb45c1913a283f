#include "image_gamma.cl.h"
#include "task/image_task.h"

namespace nuvra {

namespace {

/// Raises the colours of a rectangle to a power, from one image into another.
struct GammaImage {
    using Parameters = GammaImageParameters;
    static constexpr const char* kKey = "image.gamma";
    static constexpr const char* kClassId = "net.nuvra.opencl.task.gammaimage";
    static constexpr const char* kTypeName = ".OpenCLTaskGammaImage";
    static constexpr const char* kSource = kImageGammaSource;
    static constexpr const char* kKernelName = "InvertImage";
    static constexpr const OpenCLMemoryObjectRef* Parameters::*kImages[] = {&Parameters::source,
                                                                            &Parameters::destination};
    static constexpr bool kIsInPlace = true;

    static Result<void> SetValues(const OpenCLKernelRef& kernel, const Parameters& record) {
        const auto gamma = static_cast<Float32>(record.gamma);
        return kernel.SetArg(2, &gamma, 1);
    }
};

TaskRegistration<OpenCLImageTask<GammaImage>> g_registration{"image_gamma"};

}  // namespace

}  // namespace nuvra
