#include "image_stereo_sbs.cl.h"
#include "task/image_task.h"

namespace nuvra {

namespace {

/// Packs two images side by side into one of the same width.
struct StereoSbs {
    using Parameters = StereoSbsParameters;
    static constexpr const char* kKey = "image.stereo.sbs";
    static constexpr const char* kClassId = "net.nuvra.opencl.task.stereo.sbs";
    static constexpr const char* kTypeName = ".OpenCLTaskSBSStereo";
    static constexpr const char* kSource = kImageStereoSbsSource;
    static constexpr const char* kKernelName = "InvertImage";
    static constexpr const OpenCLMemoryObjectRef* Parameters::*kImages[] = {
        &Parameters::first, &Parameters::second, &Parameters::destination};
    static constexpr bool kIsInPlace = false;

    static Result<void> SetValues(const OpenCLKernelRef&, const Parameters&) { return {}; }
};

TaskRegistration<OpenCLImageTask<StereoSbs>> g_registration{"image_stereo_sbs"};

}  // namespace

}  // namespace nuvra
