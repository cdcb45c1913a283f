#include "nuvra/open_cl.h"

#include "module_records.h"
#include "opencl_context.h"
#include "opencl_device.h"
#include "opencl_gl_sharing.h"
#include "opencl_handle.h"
#include "opencl_platform.h"

namespace nuvra {

namespace {

cl_int CountPlatforms(cl_uint& count) {
    count = 0;
    return Call<entry::clGetPlatformIDs>(Listed{&count, 0, nullptr}, 0, nullptr, &count);
}

Result<void> FillPlatforms(BaseArray<OpenCLPlatformRef>& platforms) {
    cl_uint count = 0;
    NUVRA_RETURN_IF_ERROR(CheckCode(CountPlatforms(count)));
    if (count == 0) return {};
    NUVRA_RETURN_IF_ERROR(CheckCount(count));
    BaseArray<cl_platform_id> ids;
    NUVRA_RETURN_IF_ERROR(platforms.Resize(count));
    NUVRA_RETURN_IF_ERROR(ids.Resize(count));
    cl_uint found = 0;
    NUVRA_RETURN_IF_ERROR(CheckCode(
        Call<entry::clGetPlatformIDs>(Listed{&found, count, ids.GetFirst()}, count, ids.GetFirst(), &found)));
    if (found != count) return OpenCLError(OpenCLErrorCode::UNSPECIFIED);
    for (Int i = 0; i < ids.GetCount(); i++) {
        auto platform = NewObject<OpenCLPlatformRef>();
        if (!platform) return OutOfMemoryError();
        NUVRA_RETURN_IF_ERROR(platform.Get()->Init(ids[i]));
        platforms[i] = std::move(platform);
    }
    return {};
}

Result<void> CheckLoaded(SourceLocation location = SourceLocation::Here()) {
    if (!g_isOpenCLLoaded) return OpenCLError(OpenCLErrorCode::OPENCL_UNINITIALIZED, location);
    return {};
}

Bool IsAvailable() noexcept {
    cl_uint count = 0;
    return g_isOpenCLLoaded && CountPlatforms(count) == CL_SUCCESS && count != 0;
}

Result<void> GetPlatforms(BaseArray<OpenCLPlatformRef>& platforms) noexcept {
    NUVRA_RETURN_IF_ERROR(CheckLoaded());
    platforms.Reset();
    Result<void> result = FillPlatforms(platforms);
    if (!result.IsOk()) platforms.Reset();
    return result;
}

Result<OpenCLDeviceRef> GetDeviceFromId(cl_device_id device) noexcept {
    NUVRA_RETURN_IF_ERROR(CheckLoaded());
    const auto object = NewObject<OpenCLDeviceRef>();
    if (!object) return OutOfMemoryError();
    cl_platform_id platform = nullptr;
    NUVRA_RETURN_IF_ERROR(CheckCode(Call<entry::clGetDeviceInfo>(ResultCode(), device, CL_DEVICE_PLATFORM,
                                                                 sizeof(platform), &platform, nullptr)));
    NUVRA_RETURN_IF_ERROR(object.Get()->Init(device, platform));
    return object;
}

Result<OpenCLContextRef> CreateGLSharedContext(const OpenGLContextRef& glContext,
                                               cl_platform_id platform) noexcept {
    NUVRA_RETURN_IF_ERROR(CheckLoaded());
    if (!glContext) return NullPointerError();
    return OpenGLSharedContext(glContext, platform);
}

Result<OpenCLContextRef> CreateContext(cl_platform_id platform,
                                       const BaseArray<cl_device_id>& devices) noexcept {
    NUVRA_RETURN_IF_ERROR(CheckLoaded());
    NUVRA_ASSIGN_OR_RETURN(OpenCLContextRef context, OpenCLContextImpl::Create(devices));
    const cl_context_properties properties[] = {CL_CONTEXT_PLATFORM,
                                                reinterpret_cast<cl_context_properties>(platform), 0};
    NUVRA_RETURN_IF_ERROR(context.Get()->Open(properties));
    return context;
}

Result<OpenCLContextRef> CreateGLSharedContextForDevices(const OpenGLContextRef& glContext,
                                                         const BaseArray<OpenCLDeviceRef>& devices) noexcept {
    NUVRA_RETURN_IF_ERROR(CheckLoaded());
    if (!glContext) return NullPointerError();
    return OpenGLSharedContextForDevices(glContext, devices);
}

constexpr OpenCL::Operations kOperations{
    .IsAvailable = IsAvailable,
    .GetPlatforms = GetPlatforms,
    .GetDeviceFromId = GetDeviceFromId,
    .CreateGLSharedContext = CreateGLSharedContext,
    .CreateContext = CreateContext,
    .CreateGLSharedContextForDevices = CreateGLSharedContextForDevices,
};
constinit InterfaceRecord g_implementation =
    ImplementInterface<OpenCL>("nuvra.OpenCL", "OpenCLImpl", kOperations);
SourceUnit g_unit{g_openCLModule, "opencl", {&g_implementation}};

}  // namespace

}  // namespace nuvra
