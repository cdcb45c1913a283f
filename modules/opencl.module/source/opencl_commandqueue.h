#pragma once

#include "nuvra/open_cl_context.h"
#include "opencl_handle.h"

namespace nuvra {

/// What the maker of a queue knows.
struct QueueOrigin {
    Int64 openCLCVersion;  ///< the device's, as major * 100 + minor * 10
    UInt32 flags;          ///< `OpenCLQueueFlags`
    bool isSharing;        ///< whether its context shares memory with OpenGL
};

class OpenCLCommandQueueImpl : public ObjectHeader {
public:
    OpenCLCommandQueueImpl(OwnedCommandQueue handle, const QueueOrigin& origin)
        : _handle(std::move(handle)), _origin(origin) {}

    /// Whether commands may overtake each other.
    bool IsOutOfOrder() const { return (_origin.flags & OpenCLQueueFlags::OUT_OF_ORDER_EXEC_MODE) != 0; }

    Result<void> Release() { return _handle.Release(); }
    Result<void> EnqueueAcquireGLObjects(Int count, const OpenCLMemoryObjectRef* objects, Int waitCount,
                                         const OpenCLEventRef* waitList, OpenCLEventRef* event);
    Result<void> EnqueueReleaseGLObjects(Int count, const OpenCLMemoryObjectRef* objects, Int waitCount,
                                         const OpenCLEventRef* waitList, OpenCLEventRef* event);
    Result<void> EnqueueNDRangeKernel(const OpenCLKernelRef& kernel, UInt32 dimensions, const size_t* offset,
                                      const size_t* globalSize, const size_t* localSize, Int waitCount,
                                      const OpenCLEventRef* waitList, OpenCLEventRef* event);
    Result<void> EnqueueRange(const OpenCLKernelRef& kernel, const size_t* limits, size_t offset,
                              size_t count, Int waitCount, const OpenCLEventRef* waitList,
                              OpenCLEventRef* event);
    Result<void> EnqueueGroupedRange(const OpenCLKernelRef& mainKernel, size_t groupSize,
                                     const OpenCLKernelRef& tailKernel, const size_t* limits, size_t offset,
                                     size_t count, Int waitCount, const OpenCLEventRef* waitList,
                                     OpenCLEventRef* event);
    Result<void> Finish();
    Result<void*> EnqueueMapBuffer(const OpenCLMemoryObjectRef& memory, Bool blocking, UChar flags,
                                   size_t offset, size_t size, Int waitCount, const OpenCLEventRef* waitList,
                                   OpenCLEventRef* event);
    Result<void*> EnqueueMapImage(const OpenCLMemoryObjectRef& memory, Bool blocking, UChar flags,
                                  const size_t* origin, const size_t* region, size_t* rowPitch,
                                  size_t* slicePitch, Int waitCount, const OpenCLEventRef* waitList,
                                  OpenCLEventRef* event);
    Result<void> EnqueueUnmapMemObject(const OpenCLMemoryObjectRef& memory, void* mapped, Int waitCount,
                                       const OpenCLEventRef* waitList, OpenCLEventRef* event);
    Result<void> EnqueueReadBuffer(const OpenCLMemoryObjectRef& memory, Bool blocking, size_t offset,
                                   size_t size, void* destination, Int waitCount,
                                   const OpenCLEventRef* waitList, OpenCLEventRef* event);
    Result<void> EnqueueWriteBuffer(const OpenCLMemoryObjectRef& memory, Bool blocking, size_t offset,
                                    size_t size, const void* source, Int waitCount,
                                    const OpenCLEventRef* waitList, OpenCLEventRef* event);
    Result<void> EnqueueReadImage(const OpenCLMemoryObjectRef& memory, Bool blocking, const size_t* origin,
                                  const size_t* region, size_t rowPitch, size_t slicePitch, void* destination,
                                  Int waitCount, const OpenCLEventRef* waitList, OpenCLEventRef* event);
    Result<void> EnqueueWriteImage(const OpenCLMemoryObjectRef& memory, Bool blocking, const size_t* origin,
                                   const size_t* region, size_t rowPitch, size_t slicePitch,
                                   const void* source, Int waitCount, const OpenCLEventRef* waitList,
                                   OpenCLEventRef* event);
    Result<void> WaitForEvents(Int count, const OpenCLEventRef* events);

private:
    cl_map_flags ToOpenCLMapFlags(UChar flags) const;

    OwnedCommandQueue _handle;
    QueueOrigin _origin;
};

}  // namespace nuvra
