#pragma once

#include "nuvra/open_cl_memoryobject.h"
#include "opencl_handle.h"

namespace nuvra {

/// What the maker of a memory object knows. Some runtimes do not tell a buffer from an image, and crash where
/// they want the other.
struct MemoryOrigin {
    enum class Kind { BUFFER, IMAGE_2D, IMAGE_3D };
    Kind kind;
    /// Only compared; the runtime keeps a context as long as its memory.
    cl_context context;
    UInt64 bytes = 0;  ///< of a buffer; 0 when it is OpenGL's: the runtime knows it then
    UInt64 width = 0;  ///< pixels of an image; 0 when it is OpenGL's
    UInt64 height = 0;
};

class OpenCLMemoryObjectImpl : public ObjectHeader {
public:
    OpenCLMemoryObjectImpl(OwnedMemoryObject memory, const MemoryOrigin& memoryOrigin)
        : handle(std::move(memory)), origin(memoryOrigin) {}

    bool IsBuffer() const { return origin.kind == MemoryOrigin::Kind::BUFFER; }
    /// The size of a buffer in bytes; 0 for a buffer of OpenGL's whose size the runtime does not tell.
    UInt64 GetByteCount() const;

    OwnedMemoryObject handle;
    const MemoryOrigin origin;
};

/// A channel order (type) without an enumerator becomes RED (SNORM_INT8).
OpenCLImageFormat FromOpenCL(const cl_image_format& format);
/// Values outside the enumerations become CL_R and CL_SNORM_INT8.
cl_image_format ToOpenCL(const OpenCLImageFormat& format);

}  // namespace nuvra
