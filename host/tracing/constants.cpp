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

// Some are written as negative numbers; a word of 32 bits holds each.
#define NAMED(letter, constant) \
    { letter, static_cast<UInt32>(constant), #constant }

constexpr Constant kConstants[] = {
    NAMED('b', CL_FALSE),
    NAMED('b', CL_TRUE),
    NAMED('r', CL_CONTEXT_PLATFORM),
    NAMED('r', CL_CONTEXT_INTEROP_USER_SYNC),
    NAMED('r', CL_GL_CONTEXT_KHR),
    NAMED('r', CL_EGL_DISPLAY_KHR),
    NAMED('r', CL_GLX_DISPLAY_KHR),
    NAMED('r', CL_WGL_HDC_KHR),
    NAMED('r', CL_CGL_SHAREGROUP_KHR),
    // The OpenGL texture targets; their headers are not those of OpenCL.
    {'E', 0x0DE1, "GL_TEXTURE_2D"},
    {'E', 0x84F5, "GL_TEXTURE_RECTANGLE"},
    {'E', 0x8515, "GL_TEXTURE_CUBE_MAP_POSITIVE_X"},
    {'E', 0x8516, "GL_TEXTURE_CUBE_MAP_NEGATIVE_X"},
    {'E', 0x8517, "GL_TEXTURE_CUBE_MAP_POSITIVE_Y"},
    {'E', 0x8518, "GL_TEXTURE_CUBE_MAP_NEGATIVE_Y"},
    {'E', 0x8519, "GL_TEXTURE_CUBE_MAP_POSITIVE_Z"},
    {'E', 0x851A, "GL_TEXTURE_CUBE_MAP_NEGATIVE_Z"},
    NAMED('o', CL_R),
    NAMED('o', CL_A),
    NAMED('o', CL_RG),
    NAMED('o', CL_RA),
    NAMED('o', CL_RGB),
    NAMED('o', CL_RGBA),
    NAMED('o', CL_BGRA),
    NAMED('o', CL_ARGB),
    NAMED('o', CL_INTENSITY),
    NAMED('o', CL_LUMINANCE),
    NAMED('o', CL_Rx),
    NAMED('o', CL_RGx),
    NAMED('o', CL_RGBx),
    NAMED('t', CL_SNORM_INT8),
    NAMED('t', CL_SNORM_INT16),
    NAMED('t', CL_UNORM_INT8),
    NAMED('t', CL_UNORM_INT16),
    NAMED('t', CL_UNORM_SHORT_565),
    NAMED('t', CL_UNORM_SHORT_555),
    NAMED('t', CL_UNORM_INT_101010),
    NAMED('t', CL_SIGNED_INT8),
    NAMED('t', CL_SIGNED_INT16),
    NAMED('t', CL_SIGNED_INT32),
    NAMED('t', CL_UNSIGNED_INT8),
    NAMED('t', CL_UNSIGNED_INT16),
    NAMED('t', CL_UNSIGNED_INT32),
    NAMED('t', CL_HALF_FLOAT),
    NAMED('t', CL_FLOAT),
    NAMED('g', CL_NONE),
    NAMED('g', CL_READ_ONLY_CACHE),
    NAMED('g', CL_READ_WRITE_CACHE),
    NAMED('l', CL_NONE),
    NAMED('l', CL_LOCAL),
    NAMED('l', CL_GLOBAL),
    NAMED('B', CL_BUILD_SUCCESS),
    NAMED('B', CL_BUILD_NONE),
    NAMED('B', CL_BUILD_ERROR),
    NAMED('B', CL_BUILD_IN_PROGRESS),
    NAMED('k', CL_PROGRAM_BINARY_TYPE_NONE),
    NAMED('k', CL_PROGRAM_BINARY_TYPE_COMPILED_OBJECT),
    NAMED('k', CL_PROGRAM_BINARY_TYPE_LIBRARY),
    NAMED('k', CL_PROGRAM_BINARY_TYPE_EXECUTABLE),
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
    NAMED('c', CL_FP_DENORM),
    NAMED('c', CL_FP_INF_NAN),
    NAMED('c', CL_FP_ROUND_TO_NEAREST),
    NAMED('c', CL_FP_ROUND_TO_ZERO),
    NAMED('c', CL_FP_ROUND_TO_INF),
    NAMED('c', CL_FP_FMA),
    NAMED('c', CL_FP_SOFT_FLOAT),
    NAMED('c', CL_FP_CORRECTLY_ROUNDED_DIVIDE_SQRT),
    NAMED('e', CL_EXEC_KERNEL),
    NAMED('e', CL_EXEC_NATIVE_KERNEL),
    NAMED('d', CL_DEVICE_AFFINITY_DOMAIN_NUMA),
    NAMED('d', CL_DEVICE_AFFINITY_DOMAIN_L4_CACHE),
    NAMED('d', CL_DEVICE_AFFINITY_DOMAIN_L3_CACHE),
    NAMED('d', CL_DEVICE_AFFINITY_DOMAIN_L2_CACHE),
    NAMED('d', CL_DEVICE_AFFINITY_DOMAIN_L1_CACHE),
    NAMED('d', CL_DEVICE_AFFINITY_DOMAIN_NEXT_PARTITIONABLE),
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
