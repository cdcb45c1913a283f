#pragma once

#include <CL/cl.h>

#include "nuvra/open_cl_context.h"

/// The module's flag sets and enumerations as OpenCL's.
namespace nuvra {

inline constexpr UInt32 kAccessFlags =
    OpenCLMemoryFlags::READ_WRITE | OpenCLMemoryFlags::READ_ONLY | OpenCLMemoryFlags::WRITE_ONLY;

constexpr cl_mem_flags ToOpenCLMemoryFlags(UInt32 flags) {
    constexpr struct {
        UInt32 flag;
        cl_mem_flags value;
    } kFlags[] = {
        {OpenCLMemoryFlags::READ_WRITE, CL_MEM_READ_WRITE},
        {OpenCLMemoryFlags::READ_ONLY, CL_MEM_READ_ONLY},
        {OpenCLMemoryFlags::WRITE_ONLY, CL_MEM_WRITE_ONLY},
        {OpenCLMemoryFlags::USE_HOST_PTR, CL_MEM_USE_HOST_PTR},
        {OpenCLMemoryFlags::ALLOC_HOST_PTR, CL_MEM_ALLOC_HOST_PTR},
        {OpenCLMemoryFlags::COPY_HOST_PTR, CL_MEM_COPY_HOST_PTR},
    };
    cl_mem_flags result = 0;
    for (const auto& [flag, value] : kFlags)
        if ((flags & flag) != 0) result |= value;
    return result;
}

/// The one access that memory shared with OpenGL can have; 0 for anything else, combinations included.
constexpr cl_mem_flags ToOpenCLAccess(UInt32 access) {
    const bool isSingle = access == OpenCLMemoryFlags::READ_WRITE || access == OpenCLMemoryFlags::READ_ONLY ||
                          access == OpenCLMemoryFlags::WRITE_ONLY;
    return isSingle ? ToOpenCLMemoryFlags(access) : 0;
}

constexpr cl_command_queue_properties ToOpenCLQueueFlags(UInt32 flags) {
    static_assert(OpenCLQueueFlags::OUT_OF_ORDER_EXEC_MODE == CL_QUEUE_OUT_OF_ORDER_EXEC_MODE_ENABLE);
    static_assert(OpenCLQueueFlags::PROFILING == CL_QUEUE_PROFILING_ENABLE);
    return flags & (OpenCLQueueFlags::OUT_OF_ORDER_EXEC_MODE | OpenCLQueueFlags::PROFILING);
}

/// 0 for a value outside the enumeration.
constexpr cl_mem_object_type ToOpenCLImageType(OpenCLImageType type) {
    constexpr cl_mem_object_type kTypes[] = {
        CL_MEM_OBJECT_IMAGE1D, CL_MEM_OBJECT_IMAGE1D_BUFFER, CL_MEM_OBJECT_IMAGE2D,
        CL_MEM_OBJECT_IMAGE3D, CL_MEM_OBJECT_IMAGE1D_ARRAY,  CL_MEM_OBJECT_IMAGE2D_ARRAY,
    };
    const auto index = static_cast<UInt32>(type);
    return index < std::size(kTypes) ? kTypes[index] : 0;
}

}  // namespace nuvra
