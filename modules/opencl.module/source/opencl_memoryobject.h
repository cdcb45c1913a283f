#pragma once

#include "nuvra/open_cl_memoryobject.h"
#include "opencl_handle.h"

namespace nuvra {

/// What the maker of a memory object knows. Runtimes do not all tell a buffer from an image, and die of the
/// one where they want the other.
struct MemoryOrigin {
    enum class Kind { BUFFER, IMAGE_2D, IMAGE_3D };
    Kind kind;
    /// For comparing alone: the context lives as long as its memory.
    cl_context context;
    UInt64 bytes = 0;  ///< of a buffer; 0 when it is OpenGL's, which the runtime then knows
    UInt64 width = 0;  ///< pixels of an image; 0 when it is OpenGL's
    UInt64 height = 0;
};

class OpenCLMemoryObjectImpl : public ObjectHeader {
public:
    OpenCLMemoryObjectImpl(OwnedMemoryObject handle, const MemoryOrigin& origin)
        : _handle(std::move(handle)), _origin(origin) {}

    Result<void> Release() { return _handle.Release(); }
    Data GetImageInfo(UInt32 which) const;

    cl_mem GetHandle() const { return _handle.Get(); }
    const cl_mem* GetHandleAddress() const { return _handle.GetAddress(); }

    const MemoryOrigin& GetOrigin() const { return _origin; }
    bool IsBuffer() const { return _origin.kind == MemoryOrigin::Kind::BUFFER; }
    /// The size of a buffer in bytes; 0 when the runtime does not tell that of OpenGL's.
    UInt64 GetByteCount() const;

private:
    OwnedMemoryObject _handle;
    MemoryOrigin _origin;
};

/// Orders and types that OpenCL has and the module has not become RED and SNORM_INT8.
OpenCLImageFormat FromOpenCL(const cl_image_format& format);
/// Values outside the enumerations become CL_R and CL_SNORM_INT8.
cl_image_format ToOpenCL(const OpenCLImageFormat& format);

}  // namespace nuvra
