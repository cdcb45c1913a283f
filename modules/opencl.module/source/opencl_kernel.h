#pragma once

#include "nuvra/open_cl_kernel.h"
#include "opencl_handle.h"

namespace nuvra {

class OpenCLKernelImpl : public ObjectHeader {
public:
    explicit OpenCLKernelImpl(OwnedKernel handle) : _handle(std::move(handle)) {}

    Result<void> Release() { return _handle.Release(); }
    Result<void> GetWorkGroupInfo(const OpenCLDeviceRef& device, UInt32 which, size_t size, void* value,
                                  size_t* written);
    Result<void> SetArgMemoryObject(UInt32 index, const OpenCLMemoryObjectRef& memory);
    Result<void> SetArgLocalMemory(UInt32 index, size_t size);
    template <class T>
    Result<void> SetArgValues(UInt32 index, const T* values, Int count);
    Result<void> SetArgVector32(UInt32 index, const Vector32* values, Int count);

    cl_kernel GetHandle() const { return _handle.Get(); }

private:
    OwnedKernel _handle;
};

}  // namespace nuvra
