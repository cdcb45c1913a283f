#include "opencl_platform.h"

#include "module_records.h"
#include "opencl_device.h"
#include "opencl_error.h"
#include "opencl_text.h"

namespace nuvra {

Result<void> OpenCLPlatformImpl::Init(cl_platform_id platform) {
    id = platform;
    TextReader reader;
    const auto readBytes = [&](cl_platform_info which) {
        return reader.ReadBytes([&](size_t size, char* value, size_t* written) {
            return Call<entry::clGetPlatformInfo>(TextRead{value, written}, platform, which, size, value,
                                                  written);
        });
    };
    const auto read = [&](cl_platform_info which) { return ToString(readBytes(which)); };
    name = read(CL_PLATFORM_NAME);
    profile = read(CL_PLATFORM_PROFILE);
    version = read(CL_PLATFORM_VERSION);
    NUVRA_ASSIGN_OR_RETURN(const Int64 number, ParseVersion(version.GetChars(), "OpenCL "));
    vendor = read(CL_PLATFORM_VENDOR);
    NUVRA_ASSIGN_OR_RETURN(const char* names, readBytes(CL_PLATFORM_EXTENSIONS));
    NUVRA_RETURN_IF_ERROR(SplitExtensions(names, extensions));
    versionNumber = number;
    return {};
}

Result<void> ListDevices(cl_platform_id platform, BaseArray<OpenCLDeviceRef>& devices) {
    cl_uint count = 0;
    NUVRA_RETURN_IF_ERROR(CheckCode(Call<entry::clGetDeviceIDs>(Listed{&count, 0, nullptr}, platform,
                                                                CL_DEVICE_TYPE_ALL, 0, nullptr, &count)));
    NUVRA_RETURN_IF_ERROR(CheckCount(count));
    BaseArray<cl_device_id> ids;
    NUVRA_RETURN_IF_ERROR(devices.Resize(count));
    NUVRA_RETURN_IF_ERROR(ids.Resize(count));
    cl_uint found = 0;
    NUVRA_RETURN_IF_ERROR(CheckCode(Call<entry::clGetDeviceIDs>(
        Listed{&found, count, ids.GetFirst()}, platform, CL_DEVICE_TYPE_ALL, count, ids.GetFirst(), &found)));
    if (found != count) return OpenCLError(OpenCLErrorCode::UNSPECIFIED);
    for (Int i = 0; i < ids.GetCount(); i++) {
        auto device = NewObject<OpenCLDeviceRef>();
        if (!device) return OutOfMemoryError();
        NUVRA_RETURN_IF_ERROR(device.Get()->Init(ids[i], platform));
        devices[i] = std::move(device);
    }
    return {};
}

namespace {

using Platform = OpenCLPlatformImpl;

Result<Data> GetInfo(const Platform* platform, UInt32 which) noexcept {
    switch (which) {
        case OpenCLPlatformInfo::ID:
            return Data::Of(static_cast<Int64>(reinterpret_cast<intptr_t>(platform->id)));
        case OpenCLPlatformInfo::NAME:
            return Data::Of(platform->name);
        case OpenCLPlatformInfo::PROFILE:
            return Data::Of(platform->profile);
        case OpenCLPlatformInfo::VERSION:
            return Data::Of(platform->version);
        case OpenCLPlatformInfo::VENDOR:
            return Data::Of(platform->vendor);
        case OpenCLPlatformInfo::EXTENSIONS:
            return Data::Of(platform->extensions);
        case OpenCLPlatformInfo::VERSION_NUMBER:
            return Data::Of(platform->versionNumber);
        default:
            return Data();
    }
}

Result<void> GetDevices(const Platform* platform, BaseArray<OpenCLDeviceRef>& devices) noexcept {
    devices.Reset();
    Result<void> result = ListDevices(platform->id, devices);
    if (!result.IsOk()) devices.Reset();
    return result;
}

Bool HasExtension(const Platform* platform, const String& name) noexcept {
    return ContainsName(platform->extensions, name);
}

constexpr OpenCLPlatformInterface::Operations kOperations{
    .Destroy = DeleteObject<Platform>,
    .GetInfo = GetInfo,
    .GetDevices = GetDevices,
    .HasExtension = HasExtension,
};
constinit InterfaceRecord g_implementation = ImplementInterface<OpenCLPlatformInterface>(
    "nuvra.OpenCLPlatformInterface", "OpenCLPlatformImpl", kOperations);
SourceUnit g_unit{g_openCLModule, "opencl_platform", {&g_implementation}};

}  // namespace

}  // namespace nuvra
