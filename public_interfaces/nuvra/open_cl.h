#pragma once

#include "nuvra/open_cl_context.h"
#include "nuvra/open_cl_error.h"
#include "nuvra/open_cl_platform.h"
#include "nuvra/open_cl_task.h"
#include "nuvra/opengl_context.h"

namespace nuvra {

/// The entry point. Every operation but `IsAvailable` fails with OPENCL_UNINITIALIZED when no OpenCL runtime
/// could be bound at start-up, and with the null-pointer error where no module is started. Nothing is cached:
/// each call makes new objects. Usable on any thread.
struct OpenCL {
    static constexpr Id kId{"nuvra.OpenCL#1"};
    static constexpr const char* kHeader = "nuvra/open_cl.h";
    static constexpr bool kOptional = false;

    struct Operations {
        Bool (*IsAvailable)();
        Result<void> (*GetPlatforms)(BaseArray<OpenCLPlatformRef>& platforms);
        Result<OpenCLDeviceRef> (*GetDeviceFromId)(cl_device_id device);
        Result<OpenCLContextRef> (*CreateGLSharedContext)(const OpenGLContextRef& glContext,
                                                          cl_platform_id platform);
        Result<OpenCLContextRef> (*CreateContext)(cl_platform_id platform,
                                                  const BaseArray<cl_device_id>& devices);
        Result<OpenCLContextRef> (*CreateGLSharedContextForDevices)(
            const OpenGLContextRef& glContext, const BaseArray<OpenCLDeviceRef>& devices);
    };

    /// Whether a runtime is bound and has a platform.
    static Bool IsAvailable() { return InvokeStatic<OpenCL, &Operations::IsAvailable>(); }
    /// Replaces `platforms`. UNSPECIFIED where a version does not parse or the number changes meanwhile.
    static Result<void> GetPlatforms(BaseArray<OpenCLPlatformRef>& platforms) {
        return InvokeStatic<OpenCL, &Operations::GetPlatforms>(platforms);
    }
    static Result<OpenCLDeviceRef> GetDeviceFromId(cl_device_id device) {
        return InvokeStatic<OpenCL, &Operations::GetDeviceFromId>(device);
    }
    /// A context of the platform's devices that can share memory with the OpenGL context; a null platform
    /// chooses one that can. EXTENSION_NOT_SUPPORTED where the system has no such sharing, or no device of
    /// the given platform lists cl_khr_gl_sharing; the null-pointer error for an empty OpenGL context.
    static Result<OpenCLContextRef> CreateGLSharedContext(const OpenGLContextRef& glContext,
                                                          cl_platform_id platform) {
        return InvokeStatic<OpenCL, &Operations::CreateGLSharedContext>(glContext, platform);
    }
    static Result<OpenCLContextRef> CreateContext(cl_platform_id platform,
                                                  const BaseArray<cl_device_id>& devices) {
        return InvokeStatic<OpenCL, &Operations::CreateContext>(platform, devices);
    }
    /// As CreateGLSharedContext, for devices of one platform that the caller chose.
    static Result<OpenCLContextRef> CreateGLSharedContextForDevices(
        const OpenGLContextRef& glContext, const BaseArray<OpenCLDeviceRef>& devices) {
        return InvokeStatic<OpenCL, &Operations::CreateGLSharedContextForDevices>(glContext, devices);
    }
};

}  // namespace nuvra
