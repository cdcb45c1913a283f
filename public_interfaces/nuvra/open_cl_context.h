#pragma once

#include "nuvra/open_cl_commandqueue.h"
#include "nuvra/open_cl_program.h"

namespace nuvra {

class OpenCLContextImpl;
class OpenCLTaskRef;

/// How memory is used and where it comes from; other bits are dropped.
struct OpenCLMemoryFlags {
    enum Bit : UInt32 {
        READ_WRITE = 1,
        READ_ONLY = 2,   ///< by kernels
        WRITE_ONLY = 4,  ///< by kernels
        /// The runtime may work in the caller's memory, which must outlive the object. The built-in tasks
        /// need it aligned to 16 bytes: a kernel's 16-byte store to less kills the process on some runtimes.
        USE_HOST_PTR = 8,
        ALLOC_HOST_PTR = 16,
        COPY_HOST_PTR = 32,
    };
};

struct OpenCLQueueFlags {
    enum Bit : UInt32 { OUT_OF_ORDER_EXEC_MODE = 1, PROFILING = 2 };
};

enum class OpenCLImageType : UInt32 {
    IMAGE1D = 0,
    IMAGE1D_BUFFER = 1,
    IMAGE2D = 2,
    IMAGE3D = 3,
    IMAGE1D_ARRAY = 4,
    IMAGE2D_ARRAY = 5,
};

struct OpenCLContextInterface {
    static constexpr Id kId{"nuvra.OpenCLContextInterface#1"};
    static constexpr const char* kHeader = "nuvra/open_cl_context.h";
    static constexpr bool kOptional = false;
    using Object = OpenCLContextImpl;

    struct Operations {
        using Context = OpenCLContextImpl;
        using Memory = Result<OpenCLMemoryObjectRef>;

        void (*Destroy)(Context*);
        const BaseArray<cl_device_id>& (*GetDevices)(const Context*);
        Result<void> (*GetSupportedImageFormats)(Context*, UInt32 flags, OpenCLImageType type,
                                                 BaseArray<OpenCLImageFormat>& formats);
        Result<OpenCLCommandQueueRef> (*CreateCommandQueue)(Context*, UInt32 flags);
        Memory (*CreateBuffer)(Context*, UInt32 flags, UInt64 size, void* hostPointer);
        Memory (*CreateFromGLTexture2D)(Context*, UInt32 access, UInt32 target, Int32 mipLevel,
                                        UInt32 texture);
        Memory (*CreateFromGLBuffer)(Context*, UInt32 access, UInt32 buffer);
        Memory (*CreateImage2D)(Context*, UInt32 flags, const OpenCLImageFormat& format, UInt64 width,
                                UInt64 height, UInt64 rowPitch, void* hostPointer);
        Memory (*CreateImage3D)(Context*, UInt32 flags, const OpenCLImageFormat& format, UInt64 width,
                                UInt64 height, UInt64 depth, UInt64 rowPitch, UInt64 slicePitch,
                                void* hostPointer);
        Result<OpenCLProgramRef> (*CreateProgramWithSource)(Context*, UInt32 count,
                                                            const char* const* strings,
                                                            const size_t* lengths);
        Result<OpenCLProgramRef> (*CreateProgramWithBinary)(Context*, OpenCLDeviceRef device,
                                                            const BaseArray<UChar>& binary);
        Result<OpenCLTaskRef> (*GetTask)(Context*, const String& name);
    };
};

/// A context: the maker of queues, memory, programs and tasks. The makers may be called on several threads at
/// once, `GetTask` on one at a time. What they make lives independently of the context. Failures are the
/// runtime's codes and the out-of-memory error unless stated otherwise.
class OpenCLContextRef : public ObjectRef<OpenCLContextInterface> {
    using Operations = OpenCLContextInterface::Operations;

public:
    using ObjectRef::ObjectRef;
    OpenCLContextRef() = default;

    /// The devices given at creation, in that order; valid as long as the context.
    const BaseArray<cl_device_id>& GetDevices() const { return Invoke<&Operations::GetDevices>(); }

    /// Replaces `formats` by those that images of the type and flags (`OpenCLMemoryFlags`) can have.
    /// UNSPECIFIED when their number changes while they are read.
    Result<void> GetSupportedImageFormats(UInt32 flags, OpenCLImageType type,
                                          BaseArray<OpenCLImageFormat>& formats) const {
        return Invoke<&Operations::GetSupportedImageFormats>(flags, type, formats);
    }

    /// A queue for the first device; `flags` are `OpenCLQueueFlags`. CL_DEVICE_NOT_FOUND without devices,
    /// UNSPECIFIED where the device's OpenCL C version does not parse.
    Result<OpenCLCommandQueueRef> CreateCommandQueue(UInt32 flags = 0) const {
        return Invoke<&Operations::CreateCommandQueue>(flags);
    }

    /// `flags` are `OpenCLMemoryFlags`, `size` is in bytes, `hostPointer` goes with USE_ and COPY_HOST_PTR.
    Result<OpenCLMemoryObjectRef> CreateBuffer(UInt32 flags, UInt64 size, void* hostPointer = nullptr) const {
        return Invoke<&Operations::CreateBuffer>(flags, size, hostPointer);
    }

    /// Memory of an OpenGL texture's mip level. `access` is READ_WRITE, READ_ONLY or WRITE_ONLY, `target`
    /// GL_TEXTURE_2D; anything else is CL_INVALID_VALUE. CL_INVALID_CONTEXT for a context that was not made
    /// for sharing memory with OpenGL.
    Result<OpenCLMemoryObjectRef> CreateFromGLTexture2D(UInt32 access, UInt32 target, Int32 mipLevel,
                                                        UInt32 texture) const {
        return Invoke<&Operations::CreateFromGLTexture2D>(access, target, mipLevel, texture);
    }
    /// Memory of an OpenGL buffer, with the same failures.
    Result<OpenCLMemoryObjectRef> CreateFromGLBuffer(UInt32 access, UInt32 buffer) const {
        return Invoke<&Operations::CreateFromGLBuffer>(access, buffer);
    }

    /// An image of `width` x `height` pixels. Of `flags` only the access bits are used, so a host pointer is
    /// refused by the runtime (CL_INVALID_HOST_PTR): write the pixels with the queue.
    Result<OpenCLMemoryObjectRef> CreateImage2D(UInt32 flags, const OpenCLImageFormat& format, UInt64 width,
                                                UInt64 height, UInt64 rowPitch = 0,
                                                void* hostPointer = nullptr) const {
        return Invoke<&Operations::CreateImage2D>(flags, format, width, height, rowPitch, hostPointer);
    }
    /// The same with `depth` slices.
    Result<OpenCLMemoryObjectRef> CreateImage3D(UInt32 flags, const OpenCLImageFormat& format, UInt64 width,
                                                UInt64 height, UInt64 depth, UInt64 rowPitch = 0,
                                                UInt64 slicePitch = 0, void* hostPointer = nullptr) const {
        return Invoke<&Operations::CreateImage3D>(flags, format, width, height, depth, rowPitch, slicePitch,
                                                  hostPointer);
    }

    /// A program, not yet built, of `count` source texts; without `lengths` they are NUL-terminated, as is
    /// each text with length 0. CL_INVALID_VALUE for a count without an array.
    Result<OpenCLProgramRef> CreateProgramWithSource(UInt32 count, const char* const* strings,
                                                     const size_t* lengths = nullptr) const {
        return Invoke<&Operations::CreateProgramWithSource>(count, strings, lengths);
    }
    /// A program of a device binary, as `OpenCLProgramRef::GetBinary` gives it. An empty device is the
    /// null-pointer error. Some runtimes end the process on bytes that are not their own: keep binaries
    /// where nothing else writes.
    Result<OpenCLProgramRef> CreateProgramWithBinary(OpenCLDeviceRef device,
                                                     const BaseArray<UChar>& binary) const {
        return Invoke<&Operations::CreateProgramWithBinary>(std::move(device), binary);
    }

    /// The context's one instance of the task registered under `name`, initialised on first request. The
    /// null-pointer error when no task has that name; after a failing `Init`, its error, and the next request
    /// tries again. Defined in open_cl_task.h.
    inline Result<OpenCLTaskRef> GetTask(const String& name) const;
};

}  // namespace nuvra
