#include "constants.h"

#include <CL/cl.h>
#include <CL/cl_gl.h>

#include <algorithm>
#include <charconv>
#include <iterator>

namespace nuvra::host {

namespace {

struct Constant {
    char letter;
    UInt64 value;
    std::string_view name;
};

#define NAMED(letter, constant) \
    { letter, constant, #constant }

constexpr Constant kConstants[] = {
    NAMED('b', CL_FALSE),
    NAMED('b', CL_TRUE),
    NAMED('Y', CL_KERNEL_WORK_GROUP_SIZE),
    NAMED('Y', CL_KERNEL_COMPILE_WORK_GROUP_SIZE),
    NAMED('Y', CL_KERNEL_LOCAL_MEM_SIZE),
    NAMED('Y', CL_KERNEL_PREFERRED_WORK_GROUP_SIZE_MULTIPLE),
    NAMED('Y', CL_KERNEL_PRIVATE_MEM_SIZE),
    NAMED('Y', CL_KERNEL_GLOBAL_WORK_SIZE),
    NAMED('r', CL_CONTEXT_PLATFORM),
    NAMED('r', CL_CONTEXT_INTEROP_USER_SYNC),
    NAMED('r', CL_GL_CONTEXT_KHR),
    NAMED('r', CL_EGL_DISPLAY_KHR),
    NAMED('r', CL_GLX_DISPLAY_KHR),
    NAMED('r', CL_WGL_HDC_KHR),
    NAMED('r', CL_CGL_SHAREGROUP_KHR),
    NAMED('V', CL_CURRENT_DEVICE_FOR_GL_CONTEXT_KHR),
    NAMED('V', CL_DEVICES_FOR_GL_CONTEXT_KHR),
    // The OpenGL texture targets; their headers are not those of OpenCL.
    {'E', 0x0DE1, "GL_TEXTURE_2D"},
    {'E', 0x84F5, "GL_TEXTURE_RECTANGLE"},
    {'E', 0x8515, "GL_TEXTURE_CUBE_MAP_POSITIVE_X"},
    {'E', 0x8516, "GL_TEXTURE_CUBE_MAP_NEGATIVE_X"},
    {'E', 0x8517, "GL_TEXTURE_CUBE_MAP_POSITIVE_Y"},
    {'E', 0x8518, "GL_TEXTURE_CUBE_MAP_NEGATIVE_Y"},
    {'E', 0x8519, "GL_TEXTURE_CUBE_MAP_POSITIVE_Z"},
    {'E', 0x851A, "GL_TEXTURE_CUBE_MAP_NEGATIVE_Z"},
    NAMED('m', CL_PLATFORM_PROFILE),
    NAMED('m', CL_PLATFORM_VERSION),
    NAMED('m', CL_PLATFORM_NAME),
    NAMED('m', CL_PLATFORM_VENDOR),
    NAMED('m', CL_PLATFORM_EXTENSIONS),
    NAMED('v', CL_PROGRAM_REFERENCE_COUNT),
    NAMED('v', CL_PROGRAM_CONTEXT),
    NAMED('v', CL_PROGRAM_NUM_DEVICES),
    NAMED('v', CL_PROGRAM_DEVICES),
    NAMED('v', CL_PROGRAM_SOURCE),
    NAMED('v', CL_PROGRAM_BINARY_SIZES),
    NAMED('v', CL_PROGRAM_BINARIES),
    NAMED('v', CL_PROGRAM_NUM_KERNELS),
    NAMED('v', CL_PROGRAM_KERNEL_NAMES),
    NAMED('v', CL_PROGRAM_BUILD_STATUS),
    NAMED('v', CL_PROGRAM_BUILD_OPTIONS),
    NAMED('v', CL_PROGRAM_BUILD_LOG),
    NAMED('v', CL_PROGRAM_BINARY_TYPE),
    NAMED('n', CL_DEVICE_TYPE),
    NAMED('n', CL_DEVICE_VENDOR_ID),
    NAMED('n', CL_DEVICE_MAX_COMPUTE_UNITS),
    NAMED('n', CL_DEVICE_MAX_WORK_ITEM_DIMENSIONS),
    NAMED('n', CL_DEVICE_MAX_WORK_GROUP_SIZE),
    NAMED('n', CL_DEVICE_MAX_WORK_ITEM_SIZES),
    NAMED('n', CL_DEVICE_PREFERRED_VECTOR_WIDTH_CHAR),
    NAMED('n', CL_DEVICE_PREFERRED_VECTOR_WIDTH_SHORT),
    NAMED('n', CL_DEVICE_PREFERRED_VECTOR_WIDTH_INT),
    NAMED('n', CL_DEVICE_PREFERRED_VECTOR_WIDTH_LONG),
    NAMED('n', CL_DEVICE_PREFERRED_VECTOR_WIDTH_FLOAT),
    NAMED('n', CL_DEVICE_PREFERRED_VECTOR_WIDTH_DOUBLE),
    NAMED('n', CL_DEVICE_MAX_CLOCK_FREQUENCY),
    NAMED('n', CL_DEVICE_ADDRESS_BITS),
    NAMED('n', CL_DEVICE_MAX_READ_IMAGE_ARGS),
    NAMED('n', CL_DEVICE_MAX_WRITE_IMAGE_ARGS),
    NAMED('n', CL_DEVICE_MAX_MEM_ALLOC_SIZE),
    NAMED('n', CL_DEVICE_IMAGE2D_MAX_WIDTH),
    NAMED('n', CL_DEVICE_IMAGE2D_MAX_HEIGHT),
    NAMED('n', CL_DEVICE_IMAGE3D_MAX_WIDTH),
    NAMED('n', CL_DEVICE_IMAGE3D_MAX_HEIGHT),
    NAMED('n', CL_DEVICE_IMAGE3D_MAX_DEPTH),
    NAMED('n', CL_DEVICE_IMAGE_SUPPORT),
    NAMED('n', CL_DEVICE_MAX_PARAMETER_SIZE),
    NAMED('n', CL_DEVICE_MAX_SAMPLERS),
    NAMED('n', CL_DEVICE_MEM_BASE_ADDR_ALIGN),
    NAMED('n', CL_DEVICE_MIN_DATA_TYPE_ALIGN_SIZE),
    NAMED('n', CL_DEVICE_SINGLE_FP_CONFIG),
    NAMED('n', CL_DEVICE_GLOBAL_MEM_CACHE_TYPE),
    NAMED('n', CL_DEVICE_GLOBAL_MEM_CACHELINE_SIZE),
    NAMED('n', CL_DEVICE_GLOBAL_MEM_CACHE_SIZE),
    NAMED('n', CL_DEVICE_GLOBAL_MEM_SIZE),
    NAMED('n', CL_DEVICE_MAX_CONSTANT_BUFFER_SIZE),
    NAMED('n', CL_DEVICE_MAX_CONSTANT_ARGS),
    NAMED('n', CL_DEVICE_LOCAL_MEM_TYPE),
    NAMED('n', CL_DEVICE_LOCAL_MEM_SIZE),
    NAMED('n', CL_DEVICE_ERROR_CORRECTION_SUPPORT),
    NAMED('n', CL_DEVICE_PROFILING_TIMER_RESOLUTION),
    NAMED('n', CL_DEVICE_ENDIAN_LITTLE),
    NAMED('n', CL_DEVICE_AVAILABLE),
    NAMED('n', CL_DEVICE_COMPILER_AVAILABLE),
    NAMED('n', CL_DEVICE_EXECUTION_CAPABILITIES),
    NAMED('n', CL_DEVICE_QUEUE_PROPERTIES),
    NAMED('n', CL_DEVICE_NAME),
    NAMED('n', CL_DEVICE_VENDOR),
    NAMED('n', CL_DEVICE_PROFILE),
    NAMED('n', CL_DEVICE_VERSION),
    NAMED('n', CL_DEVICE_EXTENSIONS),
    NAMED('n', CL_DEVICE_PLATFORM),
    NAMED('n', CL_DEVICE_DOUBLE_FP_CONFIG),
    NAMED('n', CL_DEVICE_PREFERRED_VECTOR_WIDTH_HALF),
    NAMED('n', CL_DEVICE_HOST_UNIFIED_MEMORY),
    NAMED('n', CL_DEVICE_NATIVE_VECTOR_WIDTH_CHAR),
    NAMED('n', CL_DEVICE_NATIVE_VECTOR_WIDTH_SHORT),
    NAMED('n', CL_DEVICE_NATIVE_VECTOR_WIDTH_INT),
    NAMED('n', CL_DEVICE_NATIVE_VECTOR_WIDTH_LONG),
    NAMED('n', CL_DEVICE_NATIVE_VECTOR_WIDTH_FLOAT),
    NAMED('n', CL_DEVICE_NATIVE_VECTOR_WIDTH_DOUBLE),
    NAMED('n', CL_DEVICE_NATIVE_VECTOR_WIDTH_HALF),
    NAMED('n', CL_DEVICE_OPENCL_C_VERSION),
    NAMED('n', CL_DEVICE_LINKER_AVAILABLE),
    NAMED('n', CL_DEVICE_BUILT_IN_KERNELS),
    NAMED('n', CL_DEVICE_IMAGE_MAX_BUFFER_SIZE),
    NAMED('n', CL_DEVICE_IMAGE_MAX_ARRAY_SIZE),
    NAMED('n', CL_DEVICE_PARENT_DEVICE),
    NAMED('n', CL_DEVICE_PARTITION_MAX_SUB_DEVICES),
    NAMED('n', CL_DEVICE_PARTITION_PROPERTIES),
    NAMED('n', CL_DEVICE_PARTITION_AFFINITY_DOMAIN),
    NAMED('n', CL_DEVICE_PARTITION_TYPE),
    NAMED('n', CL_DEVICE_REFERENCE_COUNT),
    NAMED('n', CL_DEVICE_PREFERRED_INTEROP_USER_SYNC),
    NAMED('n', CL_DEVICE_PRINTF_BUFFER_SIZE),
};

/// Of bits that share some, the one with more comes first.
constexpr Constant kBits[] = {
    NAMED('w', CL_MEM_READ_WRITE),
    NAMED('w', CL_MEM_WRITE_ONLY),
    NAMED('w', CL_MEM_READ_ONLY),
    NAMED('w', CL_MEM_USE_HOST_PTR),
    NAMED('w', CL_MEM_ALLOC_HOST_PTR),
    NAMED('w', CL_MEM_COPY_HOST_PTR),
    NAMED('w', CL_MEM_HOST_WRITE_ONLY),
    NAMED('w', CL_MEM_HOST_READ_ONLY),
    NAMED('w', CL_MEM_HOST_NO_ACCESS),
    NAMED('W', CL_MAP_READ),
    NAMED('W', CL_MAP_WRITE),
    NAMED('W', CL_MAP_WRITE_INVALIDATE_REGION),
    NAMED('R', CL_QUEUE_OUT_OF_ORDER_EXEC_MODE_ENABLE),
    NAMED('R', CL_QUEUE_PROFILING_ENABLE),
    NAMED('N', CL_DEVICE_TYPE_ALL),
    NAMED('N', CL_DEVICE_TYPE_DEFAULT),
    NAMED('N', CL_DEVICE_TYPE_CPU),
    NAMED('N', CL_DEVICE_TYPE_GPU),
    NAMED('N', CL_DEVICE_TYPE_ACCELERATOR),
    NAMED('N', CL_DEVICE_TYPE_CUSTOM),
};

#undef NAMED

}  // namespace

std::string_view FindConstant(char letter, UInt64 value) {
    const auto* found = std::find_if(
        std::begin(kConstants), std::end(kConstants),
        [&](const Constant& constant) { return constant.letter == letter && constant.value == value; });
    return found == std::end(kConstants) ? std::string_view() : found->name;
}

void AppendBits(std::string& text, char letter, UInt64 bits) {
    UInt64 rest = bits;
    const auto separate = [&] {
        if (rest != bits) text += '|';
    };
    for (const Constant& constant : kBits) {
        if (constant.letter != letter || (rest & constant.value) != constant.value) continue;
        separate();
        text += constant.name;
        rest &= ~constant.value;
    }
    if (bits == 0) text += '0';
    if (rest == 0) return;
    separate();
    AppendHexadecimal(text, rest);
}

void AppendHexadecimal(std::string& text, UInt64 number) {
    char digits[16];
    text += "0x";
    text.append(digits, std::to_chars(digits, std::end(digits), number, 16).ptr);
}

}  // namespace nuvra::host
