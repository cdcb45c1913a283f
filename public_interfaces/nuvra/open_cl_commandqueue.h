#pragma once

#include "nuvra/open_cl_event.h"
#include "nuvra/open_cl_kernel.h"

namespace nuvra {

class OpenCLCommandQueueImpl;

/// What a mapping is for; other bits are ignored.
struct OpenCLMapFlags {
    enum Bit : UChar {
        READ = 1,
        WRITE = 2,
        WRITE_INVALIDATE_REGION = 4,  ///< as WRITE below OpenCL C 1.2
    };
};

struct OpenCLCommandQueueInterface {
    static constexpr Id kId{"nuvra.OpenCLCommandQueueInterface#1"};
    static constexpr const char* kHeader = "nuvra/open_cl_commandqueue.h";
    static constexpr bool kOptional = false;
    using Object = OpenCLCommandQueueImpl;

    struct Operations {
        using Queue = OpenCLCommandQueueImpl;
        using Kernel = const OpenCLKernelRef&;
        using Memory = const OpenCLMemoryObjectRef&;
        using Events = const OpenCLEventRef*;
        using Event = OpenCLEventRef*;

        void (*Destroy)(Queue*);
        Result<void> (*Release)(Queue*);
        Result<void> (*EnqueueAcquireGLObjects)(Queue*, Int count, const OpenCLMemoryObjectRef* objects,
                                                Int waitCount, Events waitList, Event event);
        Result<void> (*EnqueueReleaseGLObjects)(Queue*, Int count, const OpenCLMemoryObjectRef* objects,
                                                Int waitCount, Events waitList, Event event);
        Result<void> (*EnqueueNDRangeKernel)(Queue*, Kernel kernel, UInt32 dimensions, const size_t* offset,
                                             const size_t* globalSize, const size_t* localSize, Int waitCount,
                                             Events waitList, Event event);
        Result<void> (*EnqueueRange)(Queue*, Kernel kernel, const size_t* limits, size_t offset, size_t count,
                                     Int waitCount, Events waitList, Event event);
        Result<void> (*EnqueueGroupedRange)(Queue*, Kernel mainKernel, size_t groupSize, Kernel tailKernel,
                                            const size_t* limits, size_t offset, size_t count, Int waitCount,
                                            Events waitList, Event event);
        Result<void> (*Finish)(Queue*);
        Result<void*> (*EnqueueMapBuffer)(Queue*, Memory memory, Bool blocking, UChar flags, size_t offset,
                                          size_t size, Int waitCount, Events waitList, Event event);
        Result<void*> (*EnqueueMapImage)(Queue*, Memory memory, Bool blocking, UChar flags,
                                         const size_t* origin, const size_t* region, size_t* rowPitch,
                                         size_t* slicePitch, Int waitCount, Events waitList, Event event);
        Result<void> (*EnqueueUnmapMemObject)(Queue*, Memory memory, void* mapped, Int waitCount,
                                              Events waitList, Event event);
        Result<void> (*EnqueueReadBuffer)(Queue*, Memory memory, Bool blocking, size_t offset, size_t size,
                                          void* destination, Int waitCount, Events waitList, Event event);
        Result<void> (*EnqueueWriteBuffer)(Queue*, Memory memory, Bool blocking, size_t offset, size_t size,
                                           const void* source, Int waitCount, Events waitList, Event event);
        Result<void> (*EnqueueReadImage)(Queue*, Memory memory, Bool blocking, const size_t* origin,
                                         const size_t* region, size_t rowPitch, size_t slicePitch,
                                         void* destination, Int waitCount, Events waitList, Event event);
        Result<void> (*EnqueueWriteImage)(Queue*, Memory memory, Bool blocking, const size_t* origin,
                                          const size_t* region, size_t rowPitch, size_t slicePitch,
                                          const void* source, Int waitCount, Events waitList, Event event);
        Result<void> (*WaitForEvents)(Queue*, Int count, Events events);
    };
};

/// A command queue, through which all work reaches a device. As thread-safe as the runtime makes it.
///
/// Every enqueue takes a wait list, `waitCount` event references of which empty ones are skipped, and an
/// event slot, which may be null. A slot is given a new event before anything is enqueued; the event that it
/// held may stand in the wait list of the same call. Before anything is touched, an operation fails with
/// CL_INVALID_KERNEL for an empty or released kernel, CL_INVALID_MEM_OBJECT for an empty memory object and
/// for an image where a buffer is meant or the other way round, CL_INVALID_VALUE for an offset and size whose
/// sum overflows, and CL_INVALID_EVENT_WAIT_LIST for an event object without an event. Other failures
/// are the runtime's codes and the out-of-memory error. Sizes, offsets and pitches are bytes, except in
/// images' origins and regions (pixels) and in launches (work-items).
class OpenCLCommandQueueRef : public ObjectRef<OpenCLCommandQueueInterface> {
    using Operations = OpenCLCommandQueueInterface::Operations;

public:
    using ObjectRef::ObjectRef;
    OpenCLCommandQueueRef() = default;

    /// Releases the cl_command_queue now; it is gone whatever the result. A second time:
    /// CL_INVALID_COMMAND_QUEUE.
    Result<void> Release() const { return Invoke<&Operations::Release>(); }

    /// Hands `count` objects shared with OpenGL over to OpenCL. CL_INVALID_CONTEXT, also for none, where the
    /// queue's context does not share memory with OpenGL; CL_INVALID_MEM_OBJECT for an empty or released
    /// object.
    Result<void> EnqueueAcquireGLObjects(Int count, const OpenCLMemoryObjectRef* objects, Int waitCount = 0,
                                         const OpenCLEventRef* waitList = nullptr,
                                         OpenCLEventRef* event = nullptr) const {
        return Invoke<&Operations::EnqueueAcquireGLObjects>(count, objects, waitCount, waitList, event);
    }
    /// Hands them back to OpenGL, with the same failures.
    Result<void> EnqueueReleaseGLObjects(Int count, const OpenCLMemoryObjectRef* objects, Int waitCount = 0,
                                         const OpenCLEventRef* waitList = nullptr,
                                         OpenCLEventRef* event = nullptr) const {
        return Invoke<&Operations::EnqueueReleaseGLObjects>(count, objects, waitCount, waitList, event);
    }

    /// One launch. `offset` and `localSize` may be null; each array has `dimensions` entries.
    Result<void> EnqueueNDRangeKernel(const OpenCLKernelRef& kernel, UInt32 dimensions, const size_t* offset,
                                      const size_t* globalSize, const size_t* localSize, Int waitCount = 0,
                                      const OpenCLEventRef* waitList = nullptr,
                                      OpenCLEventRef* event = nullptr) const {
        return Invoke<&Operations::EnqueueNDRangeKernel>(kernel, dimensions, offset, globalSize, localSize,
                                                         waitCount, waitList, event);
    }

    /// Runs the kernel once for each index from `offset` to `offset + count - 1`. Without `limits`, as one
    /// one-dimensional launch. With `limits`, three launch sizes of which 0 counts as 1, as launches of three
    /// dimensions that stay below them: whole slabs, then whole rows, then a rest; the kernel's index is then
    /// get_global_id(0) + get_global_size(0) * (get_global_id(1) + get_global_size(1) * get_global_id(2)).
    /// The first launch waits for the wait list, the event is the last launch's, and after a failing launch
    /// none follows. On an out-of-order queue only the first part of a range that is cut waits for the list,
    /// and the event is the last part's alone: wait for the list, and finish the queue, by hand.
    Result<void> EnqueueRange(const OpenCLKernelRef& kernel, const size_t* limits, size_t offset,
                              size_t count, Int waitCount = 0, const OpenCLEventRef* waitList = nullptr,
                              OpenCLEventRef* event = nullptr) const {
        return Invoke<&Operations::EnqueueRange>(kernel, limits, offset, count, waitCount, waitList, event);
    }
    /// As EnqueueRange with work-groups: `mainKernel` in groups of `groupSize` (at least 1, else
    /// CL_INVALID_WORK_GROUP_SIZE), of which limits[0] must be a multiple; `tailKernel` for the rest.
    Result<void> EnqueueGroupedRange(const OpenCLKernelRef& mainKernel, size_t groupSize,
                                     const OpenCLKernelRef& tailKernel, const size_t* limits, size_t offset,
                                     size_t count, Int waitCount = 0,
                                     const OpenCLEventRef* waitList = nullptr,
                                     OpenCLEventRef* event = nullptr) const {
        return Invoke<&Operations::EnqueueGroupedRange>(mainKernel, groupSize, tailKernel, limits, offset,
                                                        count, waitCount, waitList, event);
    }

    /// Waits until everything enqueued has completed.
    Result<void> Finish() const { return Invoke<&Operations::Finish>(); }

    /// The address of the mapped range; `flags` are `OpenCLMapFlags`. Unless `blocking`, the memory behind
    /// the address must not be touched before the event has completed.
    Result<void*> EnqueueMapBuffer(const OpenCLMemoryObjectRef& memory, Bool blocking, UChar flags,
                                   size_t offset, size_t size, Int waitCount = 0,
                                   const OpenCLEventRef* waitList = nullptr,
                                   OpenCLEventRef* event = nullptr) const {
        return Invoke<&Operations::EnqueueMapBuffer>(memory, blocking, flags, offset, size, waitCount,
                                                     waitList, event);
    }
    /// The address of the mapped box, as above; `origin` and `region` have three entries, the pitches are
    /// written.
    Result<void*> EnqueueMapImage(const OpenCLMemoryObjectRef& memory, Bool blocking, UChar flags,
                                  const size_t* origin, const size_t* region, size_t* rowPitch,
                                  size_t* slicePitch, Int waitCount = 0,
                                  const OpenCLEventRef* waitList = nullptr,
                                  OpenCLEventRef* event = nullptr) const {
        return Invoke<&Operations::EnqueueMapImage>(memory, blocking, flags, origin, region, rowPitch,
                                                    slicePitch, waitCount, waitList, event);
    }
    Result<void> EnqueueUnmapMemObject(const OpenCLMemoryObjectRef& memory, void* mapped, Int waitCount = 0,
                                       const OpenCLEventRef* waitList = nullptr,
                                       OpenCLEventRef* event = nullptr) const {
        return Invoke<&Operations::EnqueueUnmapMemObject>(memory, mapped, waitCount, waitList, event);
    }

    /// Host memory must stay valid until the command completes; `blocking` waits for that.
    Result<void> EnqueueReadBuffer(const OpenCLMemoryObjectRef& memory, Bool blocking, size_t offset,
                                   size_t size, void* destination, Int waitCount = 0,
                                   const OpenCLEventRef* waitList = nullptr,
                                   OpenCLEventRef* event = nullptr) const {
        return Invoke<&Operations::EnqueueReadBuffer>(memory, blocking, offset, size, destination, waitCount,
                                                      waitList, event);
    }
    Result<void> EnqueueWriteBuffer(const OpenCLMemoryObjectRef& memory, Bool blocking, size_t offset,
                                    size_t size, const void* source, Int waitCount = 0,
                                    const OpenCLEventRef* waitList = nullptr,
                                    OpenCLEventRef* event = nullptr) const {
        return Invoke<&Operations::EnqueueWriteBuffer>(memory, blocking, offset, size, source, waitCount,
                                                       waitList, event);
    }
    /// A pitch of 0 means tightly packed host memory.
    Result<void> EnqueueReadImage(const OpenCLMemoryObjectRef& memory, Bool blocking, const size_t* origin,
                                  const size_t* region, size_t rowPitch, size_t slicePitch, void* destination,
                                  Int waitCount = 0, const OpenCLEventRef* waitList = nullptr,
                                  OpenCLEventRef* event = nullptr) const {
        return Invoke<&Operations::EnqueueReadImage>(memory, blocking, origin, region, rowPitch, slicePitch,
                                                     destination, waitCount, waitList, event);
    }
    Result<void> EnqueueWriteImage(const OpenCLMemoryObjectRef& memory, Bool blocking, const size_t* origin,
                                   const size_t* region, size_t rowPitch, size_t slicePitch,
                                   const void* source, Int waitCount = 0,
                                   const OpenCLEventRef* waitList = nullptr,
                                   OpenCLEventRef* event = nullptr) const {
        return Invoke<&Operations::EnqueueWriteImage>(memory, blocking, origin, region, rowPitch, slicePitch,
                                                      source, waitCount, waitList, event);
    }

    /// Blocks until the events have completed; empty references are skipped. The queue itself is not used.
    Result<void> WaitForEvents(Int count, const OpenCLEventRef* events) const {
        return Invoke<&Operations::WaitForEvents>(count, events);
    }
};

}  // namespace nuvra
