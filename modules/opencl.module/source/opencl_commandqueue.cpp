#include "opencl_commandqueue.h"

#include "module_records.h"
#include "opencl_enqueue.h"
#include "opencl_kernel.h"
#include "opencl_range.h"

namespace nuvra {

namespace {

using Queue = OpenCLCommandQueueImpl;
using Memory = const OpenCLMemoryObjectRef&;
using Kernel = const OpenCLKernelRef&;
using Events = const OpenCLEventRef*;
using Event = OpenCLEventRef*;

/// The kind of memory that a command needs; runtimes crash on the other.
enum class Wanted { BUFFER, IMAGE, ANY };

template <Wanted Kind>
bool IsFit(Memory memory) {
    return memory && (Kind == Wanted::ANY || memory.Get()->IsBuffer() == (Kind == Wanted::BUFFER));
}

/// Runtimes crash on a null kernel.
bool IsFit(Kernel kernel) {
    return kernel && kernel.Get()->handle;
}

/// Whether the end of a range does not overflow, which runtimes do not check.
bool HasEnd(size_t offset, size_t size) {
    return size <= SIZE_MAX - offset;
}

cl_bool ToOpenCLBool(Bool value) {
    return value ? CL_TRUE : CL_FALSE;
}

/// Below OpenCL C 1.2 the runtime does not know the invalidating flag.
cl_map_flags ToOpenCLMapFlags(const Queue* queue, UChar flags) {
    static_assert(OpenCLMapFlags::READ == CL_MAP_READ && OpenCLMapFlags::WRITE == CL_MAP_WRITE);
    cl_map_flags result = flags & (OpenCLMapFlags::READ | OpenCLMapFlags::WRITE);
    if ((flags & OpenCLMapFlags::WRITE_INVALIDATE_REGION) != 0)
        result |= queue->origin.openCLCVersion >= 120 ? CL_MAP_WRITE_INVALIDATE_REGION : CL_MAP_WRITE;
    return result;
}

/// Enqueues a command on one memory object; `arguments` stand between the object and the wait list.
template <class Entry, Wanted Kind, class... Arguments>
[[gnu::always_inline]] inline Result<void> EnqueueTransfer(const Queue* queue, Memory memory, Waiting waiting,
                                                           Arguments... arguments) {
    if (!IsFit<Kind>(memory)) return OpenCLError(CL_INVALID_MEM_OBJECT);
    return RunEnqueue(waiting, [=, queueHandle = queue->handle.Get(),
                                handle = memory.Get()->handle.Get()](const EventArguments& events) {
        return Call<Entry>(events.GetAfterValues(), queueHandle, handle, arguments..., events.count,
                           events.list, events.event);
    });
}

/// The same for the mappings, which return an address and write their code.
template <class Entry, Wanted Kind, class... Arguments>
Result<void*> EnqueueMapping(const Queue* queue, Memory memory, Waiting waiting, Arguments... arguments) {
    if (!IsFit<Kind>(memory)) return OpenCLError(CL_INVALID_MEM_OBJECT);
    void* mapped = nullptr;
    NUVRA_RETURN_IF_ERROR(RunEnqueue(waiting, [=, &mapped](const EventArguments& events) {
        cl_int error = CL_SUCCESS;
        mapped = Call<Entry>(Mapped{events.event, &error}, queue->handle.Get(), memory.Get()->handle.Get(),
                             arguments..., events.count, events.list, events.event, &error);
        return error;
    }));
    return mapped;
}

/// Acquires or releases objects shared with OpenGL.
template <class Entry>
Result<void> EnqueueGLObjects(Queue* queue, Int count, const OpenCLMemoryObjectRef* objects, Int waitCount,
                              Events waitList, Event event) noexcept {
    // The extension prescribes this code; a runtime without the extension may crash in the call.
    if (!queue->origin.isSharing) return OpenCLError(CL_INVALID_CONTEXT);
    HandleList<cl_mem> handles;
    NUVRA_RETURN_IF_ERROR(handles.Collect(count, objects, CL_INVALID_MEM_OBJECT));
    // Unlike in a wait list, an empty reference is a mistake.
    if (count > 0 && handles.GetCount() != count) return OpenCLError(CL_INVALID_MEM_OBJECT);
    return RunEnqueue({waitCount, waitList, event}, [&](const EventArguments& events) {
        return Call<Entry>(events.GetAfterValues(), queue->handle.Get(), handles.GetCount(),
                           handles.GetFirst(), events.count, events.list, events.event);
    });
}

Result<void> EnqueueNDRangeKernel(Queue* queue, Kernel kernel, UInt32 dimensions, const size_t* offset,
                                  const size_t* globalSize, const size_t* localSize, Int waitCount,
                                  Events waitList, Event event) noexcept {
    if (!IsFit(kernel)) return OpenCLError(CL_INVALID_KERNEL);
    return RunEnqueue(
        {waitCount, waitList, event}, [=, queueHandle = queue->handle.Get(),
                                       handle = kernel.Get()->handle.Get()](const EventArguments& events) {
            return Call<entry::clEnqueueNDRangeKernel>(events.GetAfterValues(), queueHandle, handle,
                                                       dimensions, offset, globalSize, localSize,
                                                       events.count, events.list, events.event);
        });
}

Result<void> EnqueueRange(Queue* queue, Kernel kernel, const size_t* limits, size_t offset, size_t count,
                          Int waitCount, Events waitList, Event event) noexcept {
    if (!IsFit(kernel)) return OpenCLError(CL_INVALID_KERNEL);
    const cl_kernel handle = kernel.Get()->handle.Get();
    const RangeLaunch launch{queue->handle.Get(), handle, handle, 0, limits, offset, count};
    return RunEnqueue({waitCount, waitList, event},
                      [&](const EventArguments& events) { return launch.Run(events); });
}

Result<void> EnqueueGroupedRange(Queue* queue, Kernel mainKernel, size_t groupSize, Kernel tailKernel,
                                 const size_t* limits, size_t offset, size_t count, Int waitCount,
                                 Events waitList, Event event) noexcept {
    if (!IsFit(mainKernel) || !IsFit(tailKernel)) return OpenCLError(CL_INVALID_KERNEL);
    if (groupSize < 1) return OpenCLError(CL_INVALID_WORK_GROUP_SIZE);
    const RangeLaunch launch{queue->handle.Get(),
                             mainKernel.Get()->handle.Get(),
                             tailKernel.Get()->handle.Get(),
                             groupSize,
                             limits,
                             offset,
                             count};
    return RunEnqueue({waitCount, waitList, event},
                      [&](const EventArguments& events) { return launch.Run(events); });
}

Result<void> Finish(Queue* queue) noexcept {
    return CheckCode(Call<entry::clFinish>(ResultCode(), queue->handle.Get()));
}

Result<void*> EnqueueMapBuffer(Queue* queue, Memory memory, Bool blocking, UChar flags, size_t offset,
                               size_t size, Int waitCount, Events waitList, Event event) noexcept {
    if (!HasEnd(offset, size)) return OpenCLError(CL_INVALID_VALUE);
    return EnqueueMapping<entry::clEnqueueMapBuffer, Wanted::BUFFER>(
        queue, memory, {waitCount, waitList, event}, ToOpenCLBool(blocking), ToOpenCLMapFlags(queue, flags),
        offset, size);
}

Result<void*> EnqueueMapImage(Queue* queue, Memory memory, Bool blocking, UChar flags, const size_t* origin,
                              const size_t* region, size_t* rowPitch, size_t* slicePitch, Int waitCount,
                              Events waitList, Event event) noexcept {
    return EnqueueMapping<entry::clEnqueueMapImage, Wanted::IMAGE>(
        queue, memory, {waitCount, waitList, event}, ToOpenCLBool(blocking), ToOpenCLMapFlags(queue, flags),
        origin, region, rowPitch, slicePitch);
}

Result<void> EnqueueUnmapMemObject(Queue* queue, Memory memory, void* mapped, Int waitCount, Events waitList,
                                   Event event) noexcept {
    return EnqueueTransfer<entry::clEnqueueUnmapMemObject, Wanted::ANY>(queue, memory,
                                                                        {waitCount, waitList, event}, mapped);
}

Result<void> EnqueueReadBuffer(Queue* queue, Memory memory, Bool blocking, size_t offset, size_t size,
                               void* destination, Int waitCount, Events waitList, Event event) noexcept {
    if (!HasEnd(offset, size)) return OpenCLError(CL_INVALID_VALUE);
    return EnqueueTransfer<entry::clEnqueueReadBuffer, Wanted::BUFFER>(
        queue, memory, {waitCount, waitList, event}, ToOpenCLBool(blocking), offset, size, destination);
}

Result<void> EnqueueWriteBuffer(Queue* queue, Memory memory, Bool blocking, size_t offset, size_t size,
                                const void* source, Int waitCount, Events waitList, Event event) noexcept {
    if (!HasEnd(offset, size)) return OpenCLError(CL_INVALID_VALUE);
    return EnqueueTransfer<entry::clEnqueueWriteBuffer, Wanted::BUFFER>(
        queue, memory, {waitCount, waitList, event}, ToOpenCLBool(blocking), offset, size, source);
}

Result<void> EnqueueReadImage(Queue* queue, Memory memory, Bool blocking, const size_t* origin,
                              const size_t* region, size_t rowPitch, size_t slicePitch, void* destination,
                              Int waitCount, Events waitList, Event event) noexcept {
    return EnqueueTransfer<entry::clEnqueueReadImage, Wanted::IMAGE>(
        queue, memory, {waitCount, waitList, event}, ToOpenCLBool(blocking), origin, region, rowPitch,
        slicePitch, destination);
}

Result<void> EnqueueWriteImage(Queue* queue, Memory memory, Bool blocking, const size_t* origin,
                               const size_t* region, size_t rowPitch, size_t slicePitch, const void* source,
                               Int waitCount, Events waitList, Event event) noexcept {
    return EnqueueTransfer<entry::clEnqueueWriteImage, Wanted::IMAGE>(
        queue, memory, {waitCount, waitList, event}, ToOpenCLBool(blocking), origin, region, rowPitch,
        slicePitch, source);
}

Result<void> WaitForEvents(Queue*, Int count, Events events) noexcept {
    HandleList<cl_event> handles;
    NUVRA_RETURN_IF_ERROR(handles.Collect(count, events, CL_INVALID_EVENT));
    if (handles.GetCount() == 0) return {};
    return CheckCode(Call<entry::clWaitForEvents>(ResultCode(), handles.GetCount(), handles.GetFirst()));
}

constexpr OpenCLCommandQueueInterface::Operations kOperations{
    .Destroy = DeleteObject<Queue>,
    .Release = ReleaseHandle<Queue>,
    .EnqueueAcquireGLObjects = EnqueueGLObjects<entry::clEnqueueAcquireGLObjects>,
    .EnqueueReleaseGLObjects = EnqueueGLObjects<entry::clEnqueueReleaseGLObjects>,
    .EnqueueNDRangeKernel = EnqueueNDRangeKernel,
    .EnqueueRange = EnqueueRange,
    .EnqueueGroupedRange = EnqueueGroupedRange,
    .Finish = Finish,
    .EnqueueMapBuffer = EnqueueMapBuffer,
    .EnqueueMapImage = EnqueueMapImage,
    .EnqueueUnmapMemObject = EnqueueUnmapMemObject,
    .EnqueueReadBuffer = EnqueueReadBuffer,
    .EnqueueWriteBuffer = EnqueueWriteBuffer,
    .EnqueueReadImage = EnqueueReadImage,
    .EnqueueWriteImage = EnqueueWriteImage,
    .WaitForEvents = WaitForEvents,
};
constinit InterfaceRecord g_implementation = ImplementInterface<OpenCLCommandQueueInterface>(
    "nuvra.OpenCLCommandQueueInterface", "OpenCLCommandQueueImpl", kOperations);
SourceUnit g_unit{g_openCLModule, "opencl_commandqueue", {&g_implementation}};

}  // namespace

}  // namespace nuvra
