#include "opencl_error.h"
#include "opencl_gl_sharing.h"

/// Sharing is implemented for Windows only; here it is an extension that is missing.
namespace nuvra {

Result<OpenCLContextRef> OpenGLSharedContext(const OpenGLContextRef&, cl_platform_id) {
    return OpenCLError(OpenCLErrorCode::EXTENSION_NOT_SUPPORTED);
}

Result<OpenCLContextRef> OpenGLSharedContextForDevices(const OpenGLContextRef&,
                                                       const BaseArray<OpenCLDeviceRef>&) {
    return OpenCLError(OpenCLErrorCode::EXTENSION_NOT_SUPPORTED);
}

}  // namespace nuvra
