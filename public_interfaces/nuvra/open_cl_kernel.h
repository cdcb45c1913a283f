#pragma once

#include "nuvra/open_cl_device.h"
#include "nuvra/open_cl_memoryobject.h"

namespace nuvra {

class OpenCLKernelImpl;

/// What `OpenCLKernelRef::GetWorkGroupInfo` can be asked for.
struct OpenCLWorkGroupInfo {
    enum Selector : UInt32 {
        WORK_GROUP_SIZE = 0,                     ///< size_t
        COMPILE_WORK_GROUP_SIZE = 1,             ///< three size_t
        LOCAL_MEM_SIZE = 2,                      ///< cl_ulong, bytes
        PREFERRED_WORK_GROUP_SIZE_MULTIPLE = 3,  ///< size_t
        PRIVATE_MEM_SIZE = 4,                    ///< cl_ulong, bytes
    };
};

struct OpenCLKernelInterface {
    static constexpr Id kId{"nuvra.OpenCLKernelInterface#1"};
    static constexpr const char* kHeader = "nuvra/open_cl_kernel.h";
    static constexpr bool kOptional = false;
    using Object = OpenCLKernelImpl;

    struct Operations {
        void (*Destroy)(OpenCLKernelImpl*);
        Result<void> (*Release)(OpenCLKernelImpl*);
        Result<void> (*GetWorkGroupInfo)(OpenCLKernelImpl*, const OpenCLDeviceRef& device, UInt32 which,
                                         size_t size, void* value, size_t* written);
        Result<void> (*SetArgMemoryObject)(OpenCLKernelImpl*, UInt32 index,
                                           const OpenCLMemoryObjectRef& memory);
        Result<void> (*SetArgLocalMemory)(OpenCLKernelImpl*, UInt32 index, size_t size);
        Result<void> (*SetArgChar)(OpenCLKernelImpl*, UInt32 index, const Char* values, Int count);
        Result<void> (*SetArgUChar)(OpenCLKernelImpl*, UInt32 index, const UChar* values, Int count);
        Result<void> (*SetArgInt16)(OpenCLKernelImpl*, UInt32 index, const Int16* values, Int count);
        Result<void> (*SetArgUInt16)(OpenCLKernelImpl*, UInt32 index, const UInt16* values, Int count);
        Result<void> (*SetArgInt32)(OpenCLKernelImpl*, UInt32 index, const Int32* values, Int count);
        Result<void> (*SetArgUInt32)(OpenCLKernelImpl*, UInt32 index, const UInt32* values, Int count);
        Result<void> (*SetArgFloat32)(OpenCLKernelImpl*, UInt32 index, const Float32* values, Int count);
        Result<void> (*SetArgFloat64)(OpenCLKernelImpl*, UInt32 index, const Float64* values, Int count);
        Result<void> (*SetArgVector32)(OpenCLKernelImpl*, UInt32 index, const Vector32* values, Int count);
    };
};

/// A kernel and, in the runtime, its arguments. Arguments of one kernel must not be set on two threads at
/// once, nor while another thread enqueues it. Failures are the runtime's codes unless stated otherwise.
class OpenCLKernelRef : public ObjectRef<OpenCLKernelInterface> {
    using Operations = OpenCLKernelInterface::Operations;

public:
    using ObjectRef::ObjectRef;
    OpenCLKernelRef() = default;

    /// Releases the cl_kernel now; it is gone whatever the result. A second time: CL_INVALID_KERNEL.
    Result<void> Release() const { return Invoke<&Operations::Release>(); }
    /// Writes at most `size` bytes to `value`, which must hold the selected value; `written` may be null. An
    /// unknown selector asks for WORK_GROUP_SIZE. An empty device is the null-pointer error.
    Result<void> GetWorkGroupInfo(const OpenCLDeviceRef& device, UInt32 which, size_t size, void* value,
                                  size_t* written = nullptr) const {
        return Invoke<&Operations::GetWorkGroupInfo>(device, which, size, value, written);
    }
    /// CL_INVALID_MEM_OBJECT for an empty reference or released memory. The kernel does not keep the memory:
    /// it must live until the launch is enqueued, as some runtimes end the process otherwise.
    Result<void> SetArg(UInt32 index, const OpenCLMemoryObjectRef& memory) const {
        return Invoke<&Operations::SetArgMemoryObject>(index, memory);
    }
    /// Gives a `__local` argument `size` bytes of local memory. Not for a `__global` argument: the size of a
    /// pointer sets it to null, and the kernel crashes.
    Result<void> SetArgLocalMemory(UInt32 index, size_t size) const {
        return Invoke<&Operations::SetArgLocalMemory>(index, size);
    }
    /// An argument of `count` values: one for a scalar, more for a vector or any argument of that byte size.
    /// CL_INVALID_ARG_SIZE for a negative count.
    Result<void> SetArg(UInt32 index, const Char* values, Int count) const {
        return Invoke<&Operations::SetArgChar>(index, values, count);
    }
    Result<void> SetArg(UInt32 index, const UChar* values, Int count) const {
        return Invoke<&Operations::SetArgUChar>(index, values, count);
    }
    Result<void> SetArg(UInt32 index, const Int16* values, Int count) const {
        return Invoke<&Operations::SetArgInt16>(index, values, count);
    }
    Result<void> SetArg(UInt32 index, const UInt16* values, Int count) const {
        return Invoke<&Operations::SetArgUInt16>(index, values, count);
    }
    Result<void> SetArg(UInt32 index, const Int32* values, Int count) const {
        return Invoke<&Operations::SetArgInt32>(index, values, count);
    }
    Result<void> SetArg(UInt32 index, const UInt32* values, Int count) const {
        return Invoke<&Operations::SetArgUInt32>(index, values, count);
    }
    Result<void> SetArg(UInt32 index, const Float32* values, Int count) const {
        return Invoke<&Operations::SetArgFloat32>(index, values, count);
    }
    Result<void> SetArg(UInt32 index, const Float64* values, Int count) const {
        return Invoke<&Operations::SetArgFloat64>(index, values, count);
    }
    /// Each vector becomes a `float4` (or `float3`) whose fourth component is 0. A negative count is the
    /// out-of-memory error.
    Result<void> SetArg(UInt32 index, const Vector32* values, Int count) const {
        return Invoke<&Operations::SetArgVector32>(index, values, count);
    }
};

}  // namespace nuvra
