#pragma once

#include "nuvra/hash_map.h"
#include "nuvra/open_cl_task.h"
#include "opencl_handle.h"

namespace nuvra {

class OpenCLContextImpl : public ObjectHeader {
public:
    /// Slot 0. Lets the tasks free their resources before the context goes.
    static void Destroy(OpenCLContextImpl* context) noexcept;

    /// An object without a context for a creator to fill; `devices` are copied. A creator that fails drops
    /// it.
    static Result<OpenCLContextRef> Create(const BaseArray<cl_device_id>& devices);
    Result<void> AddDevice(cl_device_id device) { return _devices.Append(device); }
    /// Creates the cl_context for the object's devices with the zero-terminated property list.
    Result<void> Open(const cl_context_properties* properties);
    cl_context GetHandle() const { return _handle.Get(); }

    const BaseArray<cl_device_id>& GetDevices() const { return _devices; }
    Result<void> GetSupportedImageFormats(UInt32 flags, OpenCLImageType type,
                                          BaseArray<OpenCLImageFormat>& formats);
    Result<OpenCLCommandQueueRef> CreateCommandQueue(UInt32 flags);
    Result<OpenCLMemoryObjectRef> CreateBuffer(UInt32 flags, UInt64 size, void* hostPointer);
    Result<OpenCLMemoryObjectRef> CreateFromGLTexture2D(UInt32 access, UInt32 target, Int32 mipLevel,
                                                        UInt32 texture);
    Result<OpenCLMemoryObjectRef> CreateFromGLBuffer(UInt32 access, UInt32 buffer);
    Result<OpenCLMemoryObjectRef> CreateImage2D(UInt32 flags, const OpenCLImageFormat& format, UInt64 width,
                                                UInt64 height, UInt64 rowPitch, void* hostPointer);
    Result<OpenCLMemoryObjectRef> CreateImage3D(UInt32 flags, const OpenCLImageFormat& format, UInt64 width,
                                                UInt64 height, UInt64 depth, UInt64 rowPitch,
                                                UInt64 slicePitch, void* hostPointer);
    Result<OpenCLProgramRef> CreateProgramWithSource(UInt32 count, const char* const* strings,
                                                     const size_t* lengths);
    Result<OpenCLProgramRef> CreateProgramWithBinary(OpenCLDeviceRef device, const BaseArray<UChar>& binary);
    Result<OpenCLTaskRef> GetTask(const String& name);

private:
    Result<OpenCLTaskRef> CreateTask(const String& name);

    BaseArray<cl_device_id> _devices;
    OwnedContext _handle;
    bool _isSharing = false;  ///< memory with OpenGL
    HashMap<String, OpenCLTaskRef> _tasks;
};

}  // namespace nuvra
