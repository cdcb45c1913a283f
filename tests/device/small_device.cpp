#include <CL/cl.h>
#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <string_view>

/// The system's OpenCL runtime with other devices: whatever else is looked up in this library is found in the
/// one that it is linked with. The word "small" in NUVRA_TEST_DEVICE makes groups of 64 work-items and 1 KiB
/// of local memory, "gpu" makes GPUs, "cores" 16 compute units.
extern "C" __attribute__((visibility("default"))) cl_int clGetDeviceInfo(cl_device_id device,
                                                                         cl_device_info which, size_t size,
                                                                         void* value, size_t* written) {
    static const auto real =
        reinterpret_cast<decltype(&clGetDeviceInfo)>(dlsym(RTLD_NEXT, "clGetDeviceInfo"));
    const cl_int code = real(device, which, size, value, written);
    if (code != CL_SUCCESS || value == nullptr) return code;
    const char* words = std::getenv("NUVRA_TEST_DEVICE");
    const std::string_view kind = words == nullptr ? "" : words;
    if (kind.find("small") != std::string_view::npos) {
        if (which == CL_DEVICE_MAX_WORK_GROUP_SIZE) *static_cast<size_t*>(value) = 64;
        if (which == CL_DEVICE_LOCAL_MEM_SIZE) *static_cast<cl_ulong*>(value) = 1024;
    }
    if (kind.find("gpu") != std::string_view::npos && which == CL_DEVICE_TYPE)
        *static_cast<cl_device_type*>(value) = CL_DEVICE_TYPE_GPU;
    if (kind.find("cores") != std::string_view::npos && which == CL_DEVICE_MAX_COMPUTE_UNITS)
        *static_cast<cl_uint*>(value) = 16;
    // The simulator's version begins with its name, which the module cannot read.
    constexpr std::string_view kName = "Oclgrind ";
    auto* text = static_cast<char*>(value);
    if (which == CL_DRIVER_VERSION && std::string_view(text).starts_with(kName))
        std::memmove(text, text + kName.size(), std::strlen(text + kName.size()) + 1);
    return code;
}
