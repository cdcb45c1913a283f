#include "signatures.h"

#include <algorithm>
#include <unordered_map>

namespace nuvra::host {

namespace {

struct Row {
    std::string_view function;
    std::string_view code;
    std::string_view
        parameters;  ///< names with a space between them; see `kMeanings` for what is behind a ":"
};

constexpr Row kRows[] = {
    {"OpenCLTracerInit", "i", "isDone"},
    {"OpenCLSetPlatformInfo", "PT", "platform:platform name"},
    {"OpenCLSetDeviceInfo", "PT", "device:device name"},
    {"clGetPlatformIDs", "uppx", "num_entries platforms num_platforms"},
    {"clGetPlatformIDs", "iuaP", "result:error num_platforms platforms:platform"},
    {"clGetPlatformInfo", "Pmsppx",
     "platform:platform param_name param_value_size param_value param_value_size_ret"},
    {"clGetPlatformInfo", "iTs", "result:error param_value param_value_size_ret"},
    {"clGetDeviceIDs", "PNuppx", "platform:platform device_type:type num_entries devices num_devices"},
    {"clGetDeviceIDs", "iuaP", "result:error num_devices devices:device"},
    {"clGetDeviceInfo", "Pnsppx",
     "device:device param_name param_value_size param_value param_value_size_ret"},
    {"clGetDeviceInfo", "i", "result:error"},
    {"clGetDeviceInfo", "iTs", "result:error param_value param_value_size_ret"},
    {"clGetDeviceInfo", "iNs", "result:error param_value:type param_value_size_ret"},
    {"clCreateContext", "ruaPpppx", "properties num_devices devices:device pfn_notify user_data errcode_ret"},
    {"clCreateContext", "iP", "result:error context:context"},
    {"clReleaseContext", "Px", "context:context"},
    {"clReleaseContext", "i", "result:error"},
    {"clCreateCommandQueue", "PPRpx", "context:context device:device properties errcode_ret"},
    {"clCreateCommandQueue", "iP", "result:error command_queue:queue"},
    {"clReleaseCommandQueue", "Px", "command_queue:queue"},
    {"clReleaseCommandQueue", "i", "result:error"},
    {"clEnqueueNDRangeKernel", "PPuasasasuaPPx",
     "command_queue:queue kernel:kernel work_dim global_work_offset global_work_size local_work_size "
     "num_events_in_wait_list event_wait_list:event event"},
    {"clEnqueueNDRangeKernel", "iP", "result:error event:event"},
    {"clFinish", "Px", "command_queue:queue"},
    {"clFinish", "i", "result:error"},
    {"clCreateFromGLTexture2D", "PwEiupx", "context:context flags target miplevel texture errcode_ret"},
    {"clCreateFromGLTexture2D", "iP", "result:error image:image"},
    {"clGetExtensionFunctionAddress", "Tx", "func_name"},
    {"clGetExtensionFunctionAddress", "p", "result"},
    {"clGetGLContextInfoKHR", "rVsppx",
     "properties param_name param_value_size param_value param_value_size_ret"},
    {"clGetGLContextInfoKHR", "iaPs", "result:error param_value:device param_value_size_ret"},
    {"clCreateFromGLBuffer", "Pwupx", "context:context flags bufobj errcode_ret"},
    {"clCreateFromGLBuffer", "iP", "result:error buffer:buffer"},
    {"clCreateBuffer", "Pwsppx", "context:context flags size host_ptr errcode_ret"},
    {"clCreateBuffer", "iP", "result:error buffer:buffer"},
    {"clCreateImage2D", "Pwpsssppx",
     "context:context flags image_format:format image_width image_height image_row_pitch host_ptr "
     "errcode_ret"},
    {"clCreateImage2D", "iP", "result:error image:image"},
    {"clCreateImage3D", "Pwpsssssppx",
     "context:context flags image_format:format image_width image_height image_depth image_row_pitch "
     "image_slice_pitch host_ptr errcode_ret"},
    {"clCreateImage3D", "iP", "result:error image:image"},
    {"clReleaseMemObject", "Px", "memobj:memory"},
    {"clReleaseMemObject", "i", "result:error"},
    {"clEnqueueAcquireGLObjects", "PuaPuaPpx",
     "command_queue:queue num_objects mem_objects:memory num_events_in_wait_list event_wait_list:event "
     "event"},
    {"clEnqueueAcquireGLObjects", "iP", "result:error event:event"},
    {"clEnqueueReleaseGLObjects", "PuaPuaPpx",
     "command_queue:queue num_objects mem_objects:memory num_events_in_wait_list event_wait_list:event "
     "event"},
    {"clEnqueueReleaseGLObjects", "iP", "result:error event:event"},
    {"clEnqueueMapBuffer", "PPbWssuaPpx",
     "command_queue:queue buffer:buffer blocking_map map_flags offset size num_events_in_wait_list "
     "event_wait_list:event event"},
    {"clEnqueueMapBuffer", "pP", "result:address event:event"},
    {"clEnqueueMapImage", "PPbasasppuaPpx",
     "command_queue:queue image:image blocking_map origin region image_row_pitch image_slice_pitch "
     "num_events_in_wait_list event_wait_list:event event"},
    {"clEnqueueMapImage", "pP", "result:address event:event"},
    {"clEnqueueUnmapMemObject", "PPpuaPpx",
     "command_queue:queue memobj:memory mapped_ptr num_events_in_wait_list event_wait_list:event event"},
    {"clEnqueueUnmapMemObject", "iP", "result:error event:event"},
    {"clEnqueueReadBuffer", "PPbssuaPpx",
     "command_queue:queue buffer:buffer blocking_read offset size num_events_in_wait_list "
     "event_wait_list:event event"},
    {"clEnqueueReadBuffer", "iP", "result:error event:event"},
    {"clEnqueueWriteBuffer", "PPbsspuaPpx",
     "command_queue:queue buffer:buffer blocking_write offset size ptr num_events_in_wait_list "
     "event_wait_list:event event"},
    {"clEnqueueWriteBuffer", "iP", "result:error event:event"},
    {"clEnqueueReadImage", "PPbasassspuaPpx",
     "command_queue:queue image:image blocking_read origin region row_pitch slice_pitch ptr "
     "num_events_in_wait_list event_wait_list:event event"},
    {"clEnqueueReadImage", "iP", "result:error event:event"},
    {"clEnqueueWriteImage", "PPbasassspuaPpx",
     "command_queue:queue image:image blocking_write origin region input_row_pitch input_slice_pitch ptr "
     "num_events_in_wait_list event_wait_list:event event"},
    {"clEnqueueWriteImage", "iP", "result:error event:event"},
    {"clCreateProgramWithSource", "Puapappx", "context:context count strings lengths:number errcode_ret"},
    {"clCreateProgramWithSource", "iP", "result:error program:program"},
    {"clCreateProgramWithBinary", "Puppappx",
     "context:context num_devices device_list lengths binaries errcode_ret"},
    {"clCreateProgramWithBinary", "iP", "result:error program:program"},
    {"clReleaseProgram", "Px", "program:program"},
    {"clReleaseProgram", "i", "result:error"},
    {"clBuildProgram", "PuaPTppx",
     "program:program num_devices device_list:device options pfn_notify user_data"},
    {"clBuildProgram", "i", "result:error"},
    {"clGetProgramBuildInfo", "PPvsppx",
     "program:program device:device param_name param_value_size param_value param_value_size_ret"},
    {"clGetProgramBuildInfo", "iTs", "result:error param_value param_value_size_ret"},
    {"clGetProgramInfo", "Pvsppx",
     "program:program param_name param_value_size param_value param_value_size_ret"},
    {"clGetProgramInfo", "iTs", "result:error param_value param_value_size_ret"},
    {"clCreateKernel", "PTpx", "program:program kernel_name errcode_ret"},
    {"clCreateKernel", "iP", "result:error kernel:kernel"},
    {"clReleaseKernel", "Px", "kernel:kernel"},
    {"clReleaseKernel", "i", "result:error"},
    {"clSetKernelArg", "PusTaPx", "kernel:kernel arg_index arg_size arg_type arg_value:memory"},
    {"clSetKernelArg", "PusTaix", "kernel:kernel arg_index arg_size arg_type arg_value"},
    {"clSetKernelArg", "PusTafx", "kernel:kernel arg_index arg_size arg_type arg_value"},
    {"clSetKernelArg", "PusTaFx", "kernel:kernel arg_index arg_size arg_type arg_value"},
    {"clSetKernelArg", "i", "result:error"},
    {"clWaitForEvents", "uaPx", "num_events event_list:event"},
    {"clWaitForEvents", "i", "result:error"},
    {"clGetKernelWorkGroupInfo", "PPYsppx",
     "kernel:kernel device:device param_name param_value_size param_value param_value_size_ret"},
    {"clGetKernelWorkGroupInfo", "iu", "result:error param_value"},
    {"clGetKernelWorkGroupInfo", "is", "result:error param_value"},
    {"clGetKernelWorkGroupInfo", "ias", "result:error param_value"},
    {"clReleaseEvent", "Px", "event:event"},
    {"clReleaseEvent", "i", "result:error"},
};

constexpr Parameter kMeanings[] = {
    {"error", Meaning::ERROR},
    {"address", Meaning::ADDRESS},
    {"number", Meaning::NUMBER},
    {"type", Meaning::DEVICE_TYPE},
    {"format", Meaning::IMAGE_FORMAT},
    {"platform", Meaning::HANDLE, ObjectKind::PLATFORM},
    {"device", Meaning::HANDLE, ObjectKind::DEVICE},
    {"context", Meaning::HANDLE, ObjectKind::CONTEXT},
    {"queue", Meaning::HANDLE, ObjectKind::QUEUE},
    {"buffer", Meaning::HANDLE, ObjectKind::BUFFER},
    {"image", Meaning::HANDLE, ObjectKind::IMAGE},
    {"memory", Meaning::HANDLE, ObjectKind::MEMORY},
    {"program", Meaning::HANDLE, ObjectKind::PROGRAM},
    {"kernel", Meaning::HANDLE, ObjectKind::KERNEL},
    {"event", Meaning::HANDLE, ObjectKind::EVENT},
};

/// "memobj:memory"
Parameter ReadParameter(std::string_view text) {
    const size_t colon = text.find(':');
    if (colon == text.npos) return {text};
    const auto* found =
        std::ranges::find(kMeanings, text.substr(colon + 1), [](const Parameter& one) { return one.name; });
    return {text.substr(0, colon), found->meaning, found->kind};
}

Signature ReadSignature(const Row& row) {
    Signature signature{row.code, {}};
    for (std::string_view rest = row.parameters; !rest.empty();) {
        const size_t end = std::min(rest.find(' '), rest.size());
        signature.parameters.push_back(ReadParameter(rest.substr(0, end)));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return signature;
}

using Functions = std::unordered_map<std::string_view, Function>;

Functions MakeFunctions() {
    Functions functions;
    for (const Row& row : kRows) {
        Function& function = functions[row.function];
        function.name = row.function;
        const Signature& signature = function.signatures.emplace_back(ReadSignature(row));
        const auto asked = std::ranges::find(signature.parameters, "param_name",
                                             [](const Parameter& one) { return one.name; });
        // No array stands before it, so that each parameter there is one letter.
        if (asked != signature.parameters.end())
            function.queryLetter = row.code[static_cast<size_t>(asked - signature.parameters.begin())];
    }
    return functions;
}

}  // namespace

const Signature* Function::Find(std::string_view code) const {
    const auto found = std::ranges::find(signatures, code, &Signature::code);
    return found != signatures.end() ? &*found : nullptr;
}

const Function* FindFunction(std::string_view name) {
    static const Functions& functions = *new Functions(MakeFunctions());
    const auto found = functions.find(name);
    return found != functions.end() ? &found->second : nullptr;
}

std::string_view GetFunctionName(std::string_view traceName) {
    constexpr std::string_view kPrefix = "nuvra::OpenCLInterface::";
    return traceName.starts_with(kPrefix) ? traceName.substr(kPrefix.size()) : traceName;
}

}  // namespace nuvra::host
