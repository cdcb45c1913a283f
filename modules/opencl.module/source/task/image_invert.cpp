#include "image_invert.cl.h"
#include "task/image_task.h"

namespace nuvra {

namespace {

/// Inverts the colours of a rectangle from one image into another.
struct InvertImage {
    using Parameters = InvertImageParameters;
    static constexpr const char* kKey = "image.invert";
    static constexpr const char* kClassId = "net.nuvra.opencl.task.invertimage";
    static constexpr const char* kTypeName = ".OpenCLTaskInvertImage";
    static constexpr const char* kSource = kImageInvertSource;
    static constexpr const char* kKernelName = "InvertImage";
    static constexpr const OpenCLMemoryObjectRef* Parameters::*kImages[] = {&Parameters::source,
                                                                            &Parameters::destination};
    static constexpr bool kIsInPlace = true;

    static Result<void> SetValues(const OpenCLKernelRef&, const Parameters&) { return {}; }
};

TaskRegistration<OpenCLImageTask<InvertImage>> g_registration{"image_invert"};

}  // namespace

}  // namespace nuvra
