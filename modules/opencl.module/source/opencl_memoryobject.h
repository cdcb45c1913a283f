#pragma once

#include "nuvra/open_cl_memoryobject.h"
#include "opencl_handle.h"

namespace nuvra {

class OpenCLMemoryObjectImpl : public ObjectHeader {
public:
    explicit OpenCLMemoryObjectImpl(OwnedMemoryObject handle) : _handle(std::move(handle)) {}

    Result<void> Release() { return _handle.Release(); }
    Data GetImageInfo(UInt32 which) const;

    cl_mem GetHandle() const { return _handle.Get(); }
    const cl_mem* GetHandleAddress() const { return _handle.GetAddress(); }

private:
    bool IsBuffer() const;

    OwnedMemoryObject _handle;
};

/// Orders and types that OpenCL has and the module has not become RED and SNORM_INT8.
OpenCLImageFormat FromOpenCL(const cl_image_format& format);
/// Values outside the enumerations become CL_R and CL_SNORM_INT8.
cl_image_format ToOpenCL(const OpenCLImageFormat& format);

}  // namespace nuvra
