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

/// What the call gets does not follow from the code's letters, so the before event is written out here.
/// Apart, and with its arguments by value, so that the way without a tracer keeps them in registers.
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

}  // namespace

Result<void> OpenCLKernelImpl::GetWorkGroupInfo(const OpenCLDeviceRef& device, UInt32 which, size_t size,
                                                void* value, size_t* written) {
    NUVRA_ASSIGN_OR_RETURN(const cl_device_id id, GetDeviceId(device));
    const auto query = [&](cl_kernel_work_group_info info, const auto& after) {
        return CheckCode(
            Call<entry::clGetKernelWorkGroupInfo>(after, GetHandle(), id, info, size, value, written));
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

Result<void> OpenCLKernelImpl::SetArgMemoryObject(UInt32 index, const OpenCLMemoryObjectRef& memory) {
    // OpenCL accepts a null cl_mem, and a runtime may then die in the kernel: released memory is refused
    // here.
    if (!memory || memory.Get()->GetHandle() == nullptr) return OpenCLError(CL_INVALID_MEM_OBJECT);
    return SetArgument<cl_mem>(GetHandle(), index, sizeof(cl_mem), memory.Get()->GetHandleAddress(), 1);
}

Result<void> OpenCLKernelImpl::SetArgLocalMemory(UInt32 index, size_t size) {
    return SetArgument<cl_mem>(GetHandle(), index, size, nullptr, 0);
}

template <class T>
Result<void> OpenCLKernelImpl::SetArgValues(UInt32 index, const T* values, Int count) {
    if (count < 0 || count > PTRDIFF_MAX / static_cast<Int>(sizeof(T)))
        return OpenCLError(CL_INVALID_ARG_SIZE);
    const auto size = static_cast<size_t>(count);
    return SetArgument<T>(GetHandle(), index, size * sizeof(T), values, size);
}

Result<void> OpenCLKernelImpl::SetArgVector32(UInt32 index, const Vector32* values, Int count) {
    struct alignas(16) Vector64 {
        Vector32 vector;
        Float32 fourth = 0;
    };
    if (count < 0) return OutOfMemoryError();
    if (values == nullptr && count > 0) return OpenCLError(CL_INVALID_ARG_VALUE);
    constexpr Int kLocalCount = 5;
    Vector64 local[kLocalCount];
    BaseArray<Vector64> allocated;
    Vector64* widened = count == 0 ? nullptr : local;
    if (count > kLocalCount) {
        NUVRA_RETURN_IF_ERROR(allocated.Resize(count));
        widened = allocated.GetFirst();
    }
    for (Int i = 0; i < count; i++) widened[i].vector = values[i];
    const auto size = static_cast<size_t>(count);
    return SetArgument<Float32>(GetHandle(), index, size * sizeof(Vector64), widened, size * 4);
}

namespace {

constexpr OpenCLKernelInterface::Operations kOperations{
    DeleteObject<OpenCLKernelImpl>,
    kOperation<&OpenCLKernelImpl::Release>,
    kOperation<&OpenCLKernelImpl::GetWorkGroupInfo>,
    kOperation<&OpenCLKernelImpl::SetArgMemoryObject>,
    kOperation<&OpenCLKernelImpl::SetArgLocalMemory>,
    kOperation<&OpenCLKernelImpl::SetArgValues<Char>>,
    kOperation<&OpenCLKernelImpl::SetArgValues<UChar>>,
    kOperation<&OpenCLKernelImpl::SetArgValues<Int16>>,
    kOperation<&OpenCLKernelImpl::SetArgValues<UInt16>>,
    kOperation<&OpenCLKernelImpl::SetArgValues<Int32>>,
    kOperation<&OpenCLKernelImpl::SetArgValues<UInt32>>,
    kOperation<&OpenCLKernelImpl::SetArgValues<Float32>>,
    kOperation<&OpenCLKernelImpl::SetArgValues<Float64>>,
    kOperation<&OpenCLKernelImpl::SetArgVector32>,
};
constinit InterfaceRecord g_implementation =
    ImplementInterface<OpenCLKernelInterface>("nuvra.OpenCLKernelInterface", "OpenCLKernelImpl", kOperations);
SourceUnit g_unit{g_openCLModule, "opencl_kernel", {&g_implementation}};

}  // namespace

}  // namespace nuvra
