#include <CL/cl_gl.h>

#include "nuvra/open_cl.h"
#include "opencl_context.h"
#include "opencl_device.h"
#include "opencl_gl_sharing.h"
#include "opencl_platform.h"

namespace nuvra {

namespace {

constexpr const char* kSharingExtension = "cl_khr_gl_sharing";
constexpr size_t kMostDevices = 100;

/// The zero-terminated properties of a context that shares memory with an OpenGL context.
struct SharingProperties {
    cl_context_properties list[7];

    SharingProperties(const OpenGLContextRef& glContext, cl_platform_id platform)
        : list{CL_GL_CONTEXT_KHR,
               ToProperty(glContext.GetRenderingContext()),
               CL_WGL_HDC_KHR,
               ToProperty(glContext.GetDeviceContext()),
               CL_CONTEXT_PLATFORM,
               ToProperty(platform),
               0} {}

private:
    static cl_context_properties ToProperty(const void* handle) {
        return reinterpret_cast<cl_context_properties>(handle);
    }
};

/// After values of the address query.
struct Found {
    static constexpr std::string_view kCode = "p";
    auto operator()(void* address) const { return std::tuple(TraceValue<'p'>(address)); }
};

/// After values of the query for devices: the code, the ids that the buffer holds, and their size in bytes.
struct SharingDevicesListed {
    static constexpr std::string_view kCode = "iaPs";
    const cl_device_id* devices;
    const size_t* size;
    auto operator()(cl_int code) const {
        const size_t found = code == CL_SUCCESS ? *size : 0;
        const auto held = static_cast<Int32>(std::min(found / sizeof(cl_device_id), kMostDevices));
        return std::tuple(code, held, static_cast<const void*>(devices), found);
    }
};

/// Whether the first pass of the search takes the device. A GPU that is also something else, the default
/// device for example, is left to the second pass.
bool IsPlainGpu(const OpenCLDeviceRef& device) {
    const Result<Data> type = device.GetInfo(OpenCLDeviceInfo::TYPE);
    const UInt64* value = type.IsOk() ? type.GetValue().Find<UInt64>() : nullptr;
    return value != nullptr && *value == CL_DEVICE_TYPE_GPU;
}

/// One pass of the search: the first platform with a device that can share, null when there is none.
Result<cl_platform_id> FindPlatform(const BaseArray<OpenCLPlatformRef>& platforms, const String& extension,
                                    bool gpusOnly) {
    for (const OpenCLPlatformRef& platform : platforms) {
        BaseArray<OpenCLDeviceRef> devices;
        NUVRA_RETURN_IF_ERROR(platform.GetDevices(devices));
        for (const OpenCLDeviceRef& device : devices) {
            if (!device.HasExtension(extension) || (gpusOnly && !IsPlainGpu(device))) continue;
            const Result<Data> id = platform.GetInfo(OpenCLPlatformInfo::ID);
            if (!id.IsOk()) continue;
            const Int64* value = id.GetValue().Find<Int64>();
            return reinterpret_cast<cl_platform_id>(static_cast<intptr_t>(value != nullptr ? *value : 0));
        }
    }
    return cl_platform_id{};
}

/// EXTENSION_NOT_SUPPORTED where no device of the platform can share. An ICD loader returns an address of its
/// own for the extension's function, which may crash in a runtime that lacks it.
Result<void> CheckSharing(cl_platform_id platform) {
    BaseArray<OpenCLDeviceRef> devices;
    NUVRA_RETURN_IF_ERROR(ListDevices(platform, devices));
    NUVRA_ASSIGN_OR_RETURN(const String extension, String::FromCText(kSharingExtension));
    for (const OpenCLDeviceRef& device : devices)
        if (device.HasExtension(extension)) return {};
    return OpenCLError(OpenCLErrorCode::EXTENSION_NOT_SUPPORTED);
}

/// The platform of the first GPU that can share, or else of the first device that can.
Result<cl_platform_id> FindSharingPlatform() {
    BaseArray<OpenCLPlatformRef> platforms;
    NUVRA_RETURN_IF_ERROR(OpenCL::GetPlatforms(platforms));
    NUVRA_ASSIGN_OR_RETURN(const String extension, String::FromCText(kSharingExtension));
    for (const bool gpusOnly : {true, false}) {
        NUVRA_ASSIGN_OR_RETURN(const cl_platform_id platform, FindPlatform(platforms, extension, gpusOnly));
        if (platform != nullptr) return platform;
    }
    return OpenCLError(OpenCLErrorCode::NO_MATCHING_PLATFORM);
}

/// Writes the devices that can share with the OpenGL context of the properties. The result is their number,
/// at least 1.
Result<size_t> ListSharingDevices(const SharingProperties& properties,
                                  cl_device_id (&devices)[kMostDevices]) {
    void* address = nullptr;
    if (g_openCL.clGetExtensionFunctionAddress != nullptr)
        address = Call<entry::clGetExtensionFunctionAddress>(Found(), "clGetGLContextInfoKHR");
    if (address == nullptr) return OpenCLError(OpenCLErrorCode::EXTENSION_NOT_SUPPORTED);
    size_t size = 0;
    NUVRA_RETURN_IF_ERROR(CheckCode(CallAt<entry::clGetGLContextInfoKHR>(
        reinterpret_cast<clGetGLContextInfoKHR_fn>(address), SharingDevicesListed{devices, &size},
        properties.list, CL_DEVICES_FOR_GL_CONTEXT_KHR, sizeof(devices), devices, &size)));
    // A runtime may report more than the buffer holds.
    const size_t count = std::min(size / sizeof(cl_device_id), kMostDevices);
    if (count == 0) return OpenCLError(OpenCLErrorCode::NO_MATCHING_DEVICE);
    return count;
}

bool IsGpu(cl_device_id device) {
    cl_device_type type = 0;
    return GetDeviceInfo(device, CL_DEVICE_TYPE, sizeof(type), &type, nullptr) == CL_SUCCESS &&
           type == CL_DEVICE_TYPE_GPU;
}

/// Gives the context the GPUs among the devices, or all of them where none is one.
Result<void> AddDevices(OpenCLContextImpl& context, const cl_device_id* devices, size_t count) {
    for (size_t i = 0; i < count; i++)
        if (IsGpu(devices[i])) NUVRA_RETURN_IF_ERROR(context.devices.Append(devices[i]));
    if (!context.devices.IsEmpty()) return {};
    for (size_t i = 0; i < count; i++) NUVRA_RETURN_IF_ERROR(context.devices.Append(devices[i]));
    return {};
}

}  // namespace

Result<OpenCLContextRef> OpenGLSharedContext(const OpenGLContextRef& glContext, cl_platform_id platform) {
    if (platform == nullptr) {
        NUVRA_ASSIGN_OR_RETURN(platform, FindSharingPlatform());
    } else {
        NUVRA_RETURN_IF_ERROR(CheckSharing(platform));
    }
    const SharingProperties properties(glContext, platform);
    cl_device_id devices[kMostDevices];
    NUVRA_ASSIGN_OR_RETURN(const size_t count, ListSharingDevices(properties, devices));
    NUVRA_ASSIGN_OR_RETURN(OpenCLContextRef context, OpenCLContextImpl::Create({}));
    NUVRA_RETURN_IF_ERROR(AddDevices(*context.Get(), devices, count));
    NUVRA_RETURN_IF_ERROR(context.Get()->Open(properties.list));
    return context;
}

Result<OpenCLContextRef> OpenGLSharedContextForDevices(const OpenGLContextRef& glContext,
                                                       const BaseArray<OpenCLDeviceRef>& devices) {
    if (devices.IsEmpty()) return NullPointerError();
    NUVRA_ASSIGN_OR_RETURN(const Data first, devices[0].GetInfo(OpenCLDeviceInfo::PLATFORM));
    NUVRA_ASSIGN_OR_RETURN(const Int64 platform, first.Get<Int64>());
    const SharingProperties properties(glContext,
                                       reinterpret_cast<cl_platform_id>(static_cast<intptr_t>(platform)));
    NUVRA_ASSIGN_OR_RETURN(OpenCLContextRef context, OpenCLContextImpl::Create({}));
    for (const OpenCLDeviceRef& device : devices) {
        const Result<cl_device_id> id = GetDeviceId(device);
        // The runtime refuses the null id of a device that has none.
        NUVRA_RETURN_IF_ERROR(context.Get()->devices.Append(id.GetValue()));
    }
    NUVRA_RETURN_IF_ERROR(context.Get()->Open(properties.list));
    return context;
}

}  // namespace nuvra
