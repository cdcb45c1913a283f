#include "nuvra/host/error_names.h"

#include <algorithm>
#include <iterator>

namespace nuvra::host {

namespace {

struct ErrorName {
    Int32 code;
    std::string_view name;
};

constexpr ErrorName kErrorNames[] = {
#define OPENCL_OWN_ERROR(name, code, text) {code, #name},
#define OPENCL_ERROR(name, code) {code, "CL_" #name},
#include "nuvra/opencl_errors.def"
    // Codes that the module gives no name. Where two extensions share a code, the Khronos name stands here.
    {-69, "CL_INVALID_PIPE_SIZE"},
    {-70, "CL_INVALID_DEVICE_QUEUE"},
    {-71, "CL_INVALID_SPEC_ID"},
    {-72, "CL_MAX_SIZE_RESTRICTION_EXCEEDED"},
    {-1000, "CL_INVALID_GL_SHAREGROUP_REFERENCE_KHR"},
    {-1001, "CL_PLATFORM_NOT_FOUND_KHR"},
    {-1002, "CL_INVALID_D3D10_DEVICE_KHR"},
    {-1003, "CL_INVALID_D3D10_RESOURCE_KHR"},
    {-1004, "CL_D3D10_RESOURCE_ALREADY_ACQUIRED_KHR"},
    {-1005, "CL_D3D10_RESOURCE_NOT_ACQUIRED_KHR"},
    {-1006, "CL_INVALID_D3D11_DEVICE_KHR"},
    {-1007, "CL_INVALID_D3D11_RESOURCE_KHR"},
    {-1008, "CL_D3D11_RESOURCE_ALREADY_ACQUIRED_KHR"},
    {-1009, "CL_D3D11_RESOURCE_NOT_ACQUIRED_KHR"},
    {-1010, "CL_INVALID_DX9_MEDIA_ADAPTER_KHR"},
    {-1011, "CL_INVALID_DX9_MEDIA_SURFACE_KHR"},
    {-1012, "CL_DX9_MEDIA_SURFACE_ALREADY_ACQUIRED_KHR"},
    {-1013, "CL_DX9_MEDIA_SURFACE_NOT_ACQUIRED_KHR"},
    {-1057, "CL_DEVICE_PARTITION_FAILED_EXT"},
    {-1058, "CL_INVALID_PARTITION_COUNT_EXT"},
    {-1059, "CL_INVALID_PARTITION_NAME_EXT"},
    {-1092, "CL_EGL_RESOURCE_NOT_ACQUIRED_KHR"},
    {-1093, "CL_INVALID_EGL_OBJECT_KHR"},
    {-1094, "CL_INVALID_ACCELERATOR_INTEL"},
    {-1095, "CL_INVALID_ACCELERATOR_TYPE_INTEL"},
    {-1096, "CL_INVALID_ACCELERATOR_DESCRIPTOR_INTEL"},
    {-1097, "CL_ACCELERATOR_TYPE_NOT_SUPPORTED_INTEL"},
    {-1098, "CL_INVALID_VA_API_MEDIA_ADAPTER_INTEL"},
    {-1099, "CL_INVALID_VA_API_MEDIA_SURFACE_INTEL"},
    {-1100, "CL_VA_API_MEDIA_SURFACE_ALREADY_ACQUIRED_INTEL"},
    {-1101, "CL_VA_API_MEDIA_SURFACE_NOT_ACQUIRED_INTEL"},
    {-1108, "CL_COMMAND_TERMINATED_ITSELF_WITH_FAILURE_ARM"},
    {-1121, "CL_CONTEXT_TERMINATED_KHR"},
    {-1138, "CL_INVALID_COMMAND_BUFFER_KHR"},
    {-1139, "CL_INVALID_SYNC_POINT_WAIT_LIST_KHR"},
    {-1140, "CL_INCOMPATIBLE_COMMAND_QUEUE_KHR"},
    {-1141, "CL_INVALID_MUTABLE_COMMAND_KHR"},
    {-1142, "CL_INVALID_SEMAPHORE_KHR"},
};

}  // namespace

std::string_view FindErrorName(Int32 code) {
    const auto* found = std::find_if(std::begin(kErrorNames), std::end(kErrorNames),
                                     [code](const ErrorName& entry) { return entry.code == code; });
    return found == std::end(kErrorNames) ? std::string_view() : found->name;
}

}  // namespace nuvra::host
