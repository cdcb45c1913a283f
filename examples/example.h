#pragma once

#include <CL/cl_ext.h>

#include <cstdio>
#include <string>

#include "nuvra/open_cl.h"

/// What the examples have in common.
namespace nuvra {

/// The error's text, or its OpenCL code where that has none.
inline std::string Describe(const ErrorRef& error) {
    const String message = error.GetMessage();
    if (!message.IsEmpty()) return message.GetChars();
    return "OpenCL code " + std::to_string(OpenCLErrorRef(error).GetErrorCode());
}

/// Prints the error; the result is the program's exit status.
inline int Fail(const char* program, const ErrorRef& error) {
    std::fprintf(stderr, "%s: %s (%s:%d)\n", program, Describe(error).c_str(), error.GetLocation().file,
                 error.GetLocation().line);
    return 1;
}

/// All platforms; an error where there is none.
inline Result<void> FindPlatforms(BaseArray<OpenCLPlatformRef>& platforms) {
    Result<void> found = OpenCL::GetPlatforms(platforms);
    // So answers a loader that has no runtime to load.
    const bool isNone = OpenCLErrorRef(found.GetError()).GetErrorCode() == CL_PLATFORM_NOT_FOUND_KHR;
    if (!found.IsOk() && !isNone) return found;
    if (platforms.IsEmpty())
        return NewError<UnknownErrorObject>("there is no OpenCL platform; is a driver installed?");
    return {};
}

/// The first device that there is: a platform may have none, or none that can be used.
inline Result<OpenCLDeviceRef> FindFirstDevice() {
    BaseArray<OpenCLPlatformRef> platforms;
    NUVRA_RETURN_IF_ERROR(FindPlatforms(platforms));
    ErrorRef problem = NewError<UnknownErrorObject>("no OpenCL platform has a device");
    for (const OpenCLPlatformRef& platform : platforms) {
        BaseArray<OpenCLDeviceRef> devices;
        const Result<void> found = platform.GetDevices(devices);
        if (!devices.IsEmpty()) return devices[0];
        if (OpenCLErrorRef(found.GetError()).GetErrorCode() != CL_DEVICE_NOT_FOUND)
            problem = found.GetError();
    }
    return problem;
}

inline Result<OpenCLContextRef> CreateContext(const OpenCLDeviceRef& device) {
    NUVRA_ASSIGN_OR_RETURN(const Data platform, device.GetInfo(OpenCLDeviceInfo::PLATFORM));
    NUVRA_ASSIGN_OR_RETURN(const Int64 platformId, platform.Get<Int64>());
    NUVRA_ASSIGN_OR_RETURN(const Data id, device.GetInfo(OpenCLDeviceInfo::ID));
    NUVRA_ASSIGN_OR_RETURN(const Int64 deviceId, id.Get<Int64>());
    BaseArray<cl_device_id> ids;
    NUVRA_RETURN_IF_ERROR(ids.Append(reinterpret_cast<cl_device_id>(deviceId)));
    return OpenCL::CreateContext(reinterpret_cast<cl_platform_id>(platformId), ids);
}

}  // namespace nuvra
