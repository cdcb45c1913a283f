#include "opencl_kernel.h"

#include "module_records.h"
#include "opencl_device.h"
#include "opencl_memoryobject.h"

namespace nuvra {

namespace {

/// How the values of an argument are traced: the letter, and the type's name in OpenCL C. A null name means
/// that the call has no before event.
struct ArgumentTrace {
    char letter;
    const char* typeName;
};
template <class T>
constexpr ArgumentTrace kArgumentTrace{'P', nullptr};
template <>
constexpr ArgumentTrace kArgumentTrace<cl_mem>{'P', "cl_mem"};
template <>
constexpr ArgumentTrace kArgumentTrace<Int32>{'i', "cl_int"};
template <>
constexpr ArgumentTrace kArgumentTrace<UInt32>{'i', "cl_uint"};
template <>
constexpr ArgumentTrace kArgumentTrace<Float32>{'f', "cl_float"};
template <>
constexpr ArgumentTrace kArgumentTrace<Float64>{'F', "cl_double"};

/// The argument's before code: the one of the entry's codes that has the letter before the final "x".
constexpr const char* FindSetArgCode(char letter) {
    for (const TraceCode& code : entry::clSetKernelArg::kBefore)
        if (code.letters[code.size - 2] == letter) return code.letters.data();
    return nullptr;
}

/// The traced values (type name, count, array) are not clSetKernelArg's parameters, so this event is built by
/// hand. Out of line and by value: the untraced path keeps its arguments in registers.
template <class T>
[[gnu::noinline, gnu::cold]] cl_int SetArgumentTraced(cl_kernel kernel, cl_uint index, size_t size,
                                                      const void* value, size_t count) {
    constexpr const char* code = FindSetArgCode(kArgumentTrace<T>.letter);
    constexpr const char* typeName = kArgumentTrace<T>.typeName;
    static_assert(code != nullptr);
    const auto before = [&](const TraceFrame& frame) {
        if constexpr (typeName != nullptr) {
            const auto shown = static_cast<Int32>(std::min<size_t>(value == nullptr ? 0 : count, INT32_MAX));
            TraceEvent(frame, code, kernel, index, size, typeName, shown, value);
        }
    };
    return CallTraced<entry::clSetKernelArg>(g_openCL.clSetKernelArg, before, AttachNothing(), ResultCode(),
                                             kernel, index, size, value);
}

/// Sets an argument of `size` bytes that the tracer sees as `count` values of type T.
template <class T>
Result<void> SetArgument(cl_kernel kernel, cl_uint index, size_t size, const void* value, size_t count,
                         SourceLocation location = SourceLocation::Here()) {
    if (IsTraced()) [[unlikely]]
        return CheckCode(SetArgumentTraced<T>(kernel, index, size, value, count), location);
    return CheckCode(CallUntraced<entry::clSetKernelArg>(kernel, index, size, value), location);
}

/// After values of the work-group queries; a value that was not read counts as 0.
struct SizeRead {
    static constexpr std::string_view kCode = "is";
    const void* value;
    auto operator()(cl_int code) const {
        const bool isRead = code == CL_SUCCESS && value != nullptr;
        return std::tuple(code, isRead ? *static_cast<const size_t*>(value) : size_t{0});
    }
};
struct SizesRead {
    static constexpr std::string_view kCode = "ias";
    const void* value;
    auto operator()(cl_int code) const {
        return std::tuple(code, code == CL_SUCCESS && value != nullptr ? 3 : 0, value);
    }
};
/// A cl_ulong, of which the trace holds the low word.
struct LowWordRead {
    static constexpr std::string_view kCode = "iu";
    const void* value;
    auto operator()(cl_int code) const {
        const bool isRead = code == CL_SUCCESS && value != nullptr;
        return std::tuple(code, isRead ? static_cast<cl_uint>(*static_cast<const cl_ulong*>(value)) : 0U);
    }
};

using Kernel = OpenCLKernelImpl;

Result<void> GetWorkGroupInfo(Kernel* kernel, const OpenCLDeviceRef& device, UInt32 which, size_t size,
                              void* value, size_t* written) noexcept {
    NUVRA_ASSIGN_OR_RETURN(const cl_device_id id, GetDeviceId(device));
    const auto query = [&](cl_kernel_work_group_info info, const auto& after) {
        return CheckCode(Call<entry::clGetKernelWorkGroupInfo>(after, kernel->handle.Get(), id, info, size,
                                                               value, written));
    };
    switch (which) {
        case OpenCLWorkGroupInfo::COMPILE_WORK_GROUP_SIZE:
            return query(CL_KERNEL_COMPILE_WORK_GROUP_SIZE, SizesRead{value});
        case OpenCLWorkGroupInfo::LOCAL_MEM_SIZE:
            return query(CL_KERNEL_LOCAL_MEM_SIZE, LowWordRead{value});
        case OpenCLWorkGroupInfo::PREFERRED_WORK_GROUP_SIZE_MULTIPLE:
            return query(CL_KERNEL_PREFERRED_WORK_GROUP_SIZE_MULTIPLE, SizeRead{value});
        case OpenCLWorkGroupInfo::PRIVATE_MEM_SIZE:
            return query(CL_KERNEL_PRIVATE_MEM_SIZE, LowWordRead{value});
        default:
            return query(CL_KERNEL_WORK_GROUP_SIZE, SizeRead{value});
    }
}

Result<void> SetArgMemoryObject(Kernel* kernel, UInt32 index, const OpenCLMemoryObjectRef& memory) noexcept {
    // OpenCL accepts a null cl_mem, but runtimes may crash when the kernel uses it.
    if (!memory || !memory.Get()->handle) return OpenCLError(CL_INVALID_MEM_OBJECT);
    return SetArgument<cl_mem>(kernel->handle.Get(), index, sizeof(cl_mem), memory.Get()->handle.GetAddress(),
                               1);
}

Result<void> SetArgLocalMemory(Kernel* kernel, UInt32 index, size_t size) noexcept {
    return SetArgument<cl_mem>(kernel->handle.Get(), index, size, nullptr, 0);
}

template <class T>
Result<void> SetArgValues(Kernel* kernel, UInt32 index, const T* values, Int count) noexcept {
    if (count < 0 || count > PTRDIFF_MAX / static_cast<Int>(sizeof(T)))
        return OpenCLError(CL_INVALID_ARG_SIZE);
    const auto size = static_cast<size_t>(count);
    return SetArgument<T>(kernel->handle.Get(), index, size * sizeof(T), values, size);
}

Result<void> SetArgVector32(Kernel* kernel, UInt32 index, const Vector32* values, Int count) noexcept {
    struct alignas(16) FourFloats {
        Vector32 vector;
        Float32 fourth = 0;
    };
    if (count < 0) return OutOfMemoryError();
    if (values == nullptr && count > 0) return OpenCLError(CL_INVALID_ARG_VALUE);
    constexpr Int kLocalCount = 5;
    FourFloats local[kLocalCount];
    BaseArray<FourFloats> allocated;
    FourFloats* widened = count == 0 ? nullptr : local;
    if (count > kLocalCount) {
        NUVRA_RETURN_IF_ERROR(allocated.Resize(count));
        widened = allocated.GetFirst();
    }
    for (Int i = 0; i < count; i++) widened[i].vector = values[i];
    const auto size = static_cast<size_t>(count);
    return SetArgument<Float32>(kernel->handle.Get(), index, size * sizeof(FourFloats), widened, size * 4);
}

constexpr OpenCLKernelInterface::Operations kOperations{
    .Destroy = DeleteObject<Kernel>,
    .Release = ReleaseHandle<Kernel>,
    .GetWorkGroupInfo = GetWorkGroupInfo,
    .SetArgMemoryObject = SetArgMemoryObject,
    .SetArgLocalMemory = SetArgLocalMemory,
    .SetArgChar = SetArgValues<Char>,
    .SetArgUChar = SetArgValues<UChar>,
    .SetArgInt16 = SetArgValues<Int16>,
    .SetArgUInt16 = SetArgValues<UInt16>,
    .SetArgInt32 = SetArgValues<Int32>,
    .SetArgUInt32 = SetArgValues<UInt32>,
    .SetArgFloat32 = SetArgValues<Float32>,
    .SetArgFloat64 = SetArgValues<Float64>,
    .SetArgVector32 = SetArgVector32,
};
constinit InterfaceRecord g_implementation =
    ImplementInterface<OpenCLKernelInterface>("nuvra.OpenCLKernelInterface", "OpenCLKernelImpl", kOperations);
SourceUnit g_unit{g_openCLModule, "opencl_kernel", {&g_implementation}};

}  // namespace

}  // namespace nuvra
