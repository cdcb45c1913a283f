#pragma once

#include "nuvra/open_cl.h"

/// Contexts that share memory with OpenGL, one implementation a system. The runtime must be loaded.
namespace nuvra {

Result<OpenCLContextRef> OpenGLSharedContext(const OpenGLContextRef& glContext, cl_platform_id platform);
Result<OpenCLContextRef> OpenGLSharedContextForDevices(const OpenGLContextRef& glContext,
                                                       const BaseArray<OpenCLDeviceRef>& devices);

}  // namespace nuvra
