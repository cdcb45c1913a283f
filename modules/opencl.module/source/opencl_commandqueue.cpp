#include "opencl_commandqueue.h"

#include "module_records.h"
#include "opencl_enqueue.h"
#include "opencl_kernel.h"
#include "opencl_range.h"

namespace nuvra {

namespace {

/// What a transfer works on; a runtime may die of the other.
enum class Wanted { BUFFER, IMAGE, ANY };

/// Whether there is memory, of the kind that is wanted.
template <Wanted Kind>
bool IsFit(const OpenCLMemoryObjectRef& memory) {
    return memory && (Kind == Wanted::ANY || memory.Get()->IsBuffer() == (Kind == Wanted::BUFFER));
}

/// Whether a number holds the end of a range. A runtime may add without looking.
bool HasEnd(size_t offset, size_t size) {
    return size <= SIZE_MAX - offset;
}

/// A released kernel counts as none: a runtime may die of a null handle.
bool IsFit(const OpenCLKernelRef& kernel) {
    return kernel && kernel.Get()->GetHandle() != nullptr;
}

/// Acquires or releases objects shared with OpenGL.
template <class Entry>
Result<void> EnqueueGLObjects(cl_command_queue queue, bool isSharing, Int count,
                              const OpenCLMemoryObjectRef* objects, Int waitCount,
                              const OpenCLEventRef* waitList, OpenCLEventRef* event) {
    // What the extension prescribes; a runtime that does not have it may die of the call.
    if (!isSharing) return OpenCLError(CL_INVALID_CONTEXT);
    HandleList<cl_mem> handles;
    NUVRA_RETURN_IF_ERROR(handles.Collect(count, objects, CL_INVALID_MEM_OBJECT));
    // Nothing is to be skipped here: an empty reference is a mistake.
    if (count > 0 && handles.GetCount() != count) return OpenCLError(CL_INVALID_MEM_OBJECT);
    Enqueue enqueue;
    NUVRA_RETURN_IF_ERROR(enqueue.Open(waitCount, waitList, event));
    return CheckCode(Call<Entry>(enqueue.GetAfterValues(), queue, handles.GetCount(), handles.GetFirst(),
                                 enqueue.GetWaitCount(), enqueue.GetWaitList(), enqueue.GetEvent()));
}

/// A transfer between host memory and an object, or the end of a mapping: checks the object, opens the wait
/// list and the event slot, and makes the call with `arguments` between the memory object and the wait list.
template <class Entry, Wanted Kind, class... Arguments>
[[gnu::always_inline]] inline Result<void> EnqueueTransfer(cl_command_queue queue,
                                                           const OpenCLMemoryObjectRef& memory, Int waitCount,
                                                           const OpenCLEventRef* waitList,
                                                           OpenCLEventRef* event, Arguments... arguments) {
    if (!IsFit<Kind>(memory)) return OpenCLError(CL_INVALID_MEM_OBJECT);
    return RunEnqueue(waitCount, waitList, event,
                      [=, handle = memory.Get()->GetHandle()](auto after, cl_uint count, const cl_event* list,
                                                              cl_event* slot) {
                          return Call<Entry>(after, queue, handle, arguments..., count, list, slot);
                      });
}

/// The same for the mappings, which return an address and write their code.
template <class Entry, Wanted Kind, class... Arguments>
Result<void*> EnqueueMapping(cl_command_queue queue, const OpenCLMemoryObjectRef& memory, Int waitCount,
                             const OpenCLEventRef* waitList, OpenCLEventRef* event, Arguments... arguments) {
    if (!IsFit<Kind>(memory)) return OpenCLError(CL_INVALID_MEM_OBJECT);
    Enqueue enqueue;
    NUVRA_RETURN_IF_ERROR(enqueue.Open(waitCount, waitList, event));
    cl_int error = CL_SUCCESS;
    void* mapped =
        Call<Entry>(Mapped{enqueue.GetEvent(), &error}, queue, memory.Get()->GetHandle(), arguments...,
                    enqueue.GetWaitCount(), enqueue.GetWaitList(), enqueue.GetEvent(), &error);
    NUVRA_RETURN_IF_ERROR(CheckCode(error));
    return mapped;
}

cl_bool ToOpenCLBool(Bool value) {
    return value ? CL_TRUE : CL_FALSE;
}

}  // namespace

Result<void> OpenCLCommandQueueImpl::EnqueueAcquireGLObjects(Int count, const OpenCLMemoryObjectRef* objects,
                                                             Int waitCount, const OpenCLEventRef* waitList,
                                                             OpenCLEventRef* event) {
    return EnqueueGLObjects<entry::clEnqueueAcquireGLObjects>(_handle.Get(), _origin.isSharing, count,
                                                              objects, waitCount, waitList, event);
}

Result<void> OpenCLCommandQueueImpl::EnqueueReleaseGLObjects(Int count, const OpenCLMemoryObjectRef* objects,
                                                             Int waitCount, const OpenCLEventRef* waitList,
                                                             OpenCLEventRef* event) {
    return EnqueueGLObjects<entry::clEnqueueReleaseGLObjects>(_handle.Get(), _origin.isSharing, count,
                                                              objects, waitCount, waitList, event);
}

Result<void> OpenCLCommandQueueImpl::EnqueueNDRangeKernel(const OpenCLKernelRef& kernel, UInt32 dimensions,
                                                          const size_t* offset, const size_t* globalSize,
                                                          const size_t* localSize, Int waitCount,
                                                          const OpenCLEventRef* waitList,
                                                          OpenCLEventRef* event) {
    if (!IsFit(kernel)) return OpenCLError(CL_INVALID_KERNEL);
    return RunEnqueue(waitCount, waitList, event,
                      [=, queue = _handle.Get(), handle = kernel.Get()->GetHandle()](
                          auto after, cl_uint count, const cl_event* list, cl_event* slot) {
                          return Call<entry::clEnqueueNDRangeKernel>(after, queue, handle, dimensions, offset,
                                                                     globalSize, localSize, count, list,
                                                                     slot);
                      });
}

Result<void> OpenCLCommandQueueImpl::EnqueueRange(const OpenCLKernelRef& kernel, const size_t* limits,
                                                  size_t offset, size_t count, Int waitCount,
                                                  const OpenCLEventRef* waitList, OpenCLEventRef* event) {
    if (!IsFit(kernel)) return OpenCLError(CL_INVALID_KERNEL);
    Enqueue enqueue;
    NUVRA_RETURN_IF_ERROR(enqueue.Open(waitCount, waitList, event));
    const RangeLaunch launch{_handle.Get(), kernel.Get()->GetHandle(), kernel.Get()->GetHandle(), 0};
    return CheckCode(launch.Run(enqueue, limits, offset, count));
}

Result<void> OpenCLCommandQueueImpl::EnqueueGroupedRange(const OpenCLKernelRef& mainKernel, size_t groupSize,
                                                         const OpenCLKernelRef& tailKernel,
                                                         const size_t* limits, size_t offset, size_t count,
                                                         Int waitCount, const OpenCLEventRef* waitList,
                                                         OpenCLEventRef* event) {
    if (!IsFit(mainKernel) || !IsFit(tailKernel)) return OpenCLError(CL_INVALID_KERNEL);
    if (groupSize < 1) return OpenCLError(CL_INVALID_WORK_GROUP_SIZE);
    Enqueue enqueue;
    NUVRA_RETURN_IF_ERROR(enqueue.Open(waitCount, waitList, event));
    const RangeLaunch launch{_handle.Get(), mainKernel.Get()->GetHandle(), tailKernel.Get()->GetHandle(),
                             groupSize};
    return CheckCode(launch.Run(enqueue, limits, offset, count));
}

Result<void> OpenCLCommandQueueImpl::Finish() {
    return CheckCode(Call<entry::clFinish>(ResultCode(), _handle.Get()));
}

/// Below OpenCL C 1.2 the runtime does not know the invalidating flag.
cl_map_flags OpenCLCommandQueueImpl::ToOpenCLMapFlags(UChar flags) const {
    static_assert(OpenCLMapFlags::READ == CL_MAP_READ && OpenCLMapFlags::WRITE == CL_MAP_WRITE);
    cl_map_flags result = flags & (OpenCLMapFlags::READ | OpenCLMapFlags::WRITE);
    if ((flags & OpenCLMapFlags::WRITE_INVALIDATE_REGION) != 0)
        result |= _origin.openCLCVersion >= 120 ? CL_MAP_WRITE_INVALIDATE_REGION : CL_MAP_WRITE;
    return result;
}

Result<void*> OpenCLCommandQueueImpl::EnqueueMapBuffer(const OpenCLMemoryObjectRef& memory, Bool blocking,
                                                       UChar flags, size_t offset, size_t size, Int waitCount,
                                                       const OpenCLEventRef* waitList,
                                                       OpenCLEventRef* event) {
    if (!HasEnd(offset, size)) return OpenCLError(CL_INVALID_VALUE);
    return EnqueueMapping<entry::clEnqueueMapBuffer, Wanted::BUFFER>(_handle.Get(), memory, waitCount,
                                                                     waitList, event, ToOpenCLBool(blocking),
                                                                     ToOpenCLMapFlags(flags), offset, size);
}

Result<void*> OpenCLCommandQueueImpl::EnqueueMapImage(const OpenCLMemoryObjectRef& memory, Bool blocking,
                                                      UChar flags, const size_t* origin, const size_t* region,
                                                      size_t* rowPitch, size_t* slicePitch, Int waitCount,
                                                      const OpenCLEventRef* waitList, OpenCLEventRef* event) {
    return EnqueueMapping<entry::clEnqueueMapImage, Wanted::IMAGE>(
        _handle.Get(), memory, waitCount, waitList, event, ToOpenCLBool(blocking), ToOpenCLMapFlags(flags),
        origin, region, rowPitch, slicePitch);
}

Result<void> OpenCLCommandQueueImpl::EnqueueUnmapMemObject(const OpenCLMemoryObjectRef& memory, void* mapped,
                                                           Int waitCount, const OpenCLEventRef* waitList,
                                                           OpenCLEventRef* event) {
    return EnqueueTransfer<entry::clEnqueueUnmapMemObject, Wanted::ANY>(_handle.Get(), memory, waitCount,
                                                                        waitList, event, mapped);
}

Result<void> OpenCLCommandQueueImpl::EnqueueReadBuffer(const OpenCLMemoryObjectRef& memory, Bool blocking,
                                                       size_t offset, size_t size, void* destination,
                                                       Int waitCount, const OpenCLEventRef* waitList,
                                                       OpenCLEventRef* event) {
    if (!HasEnd(offset, size)) return OpenCLError(CL_INVALID_VALUE);
    return EnqueueTransfer<entry::clEnqueueReadBuffer, Wanted::BUFFER>(
        _handle.Get(), memory, waitCount, waitList, event, ToOpenCLBool(blocking), offset, size, destination);
}

Result<void> OpenCLCommandQueueImpl::EnqueueWriteBuffer(const OpenCLMemoryObjectRef& memory, Bool blocking,
                                                        size_t offset, size_t size, const void* source,
                                                        Int waitCount, const OpenCLEventRef* waitList,
                                                        OpenCLEventRef* event) {
    if (!HasEnd(offset, size)) return OpenCLError(CL_INVALID_VALUE);
    return EnqueueTransfer<entry::clEnqueueWriteBuffer, Wanted::BUFFER>(
        _handle.Get(), memory, waitCount, waitList, event, ToOpenCLBool(blocking), offset, size, source);
}

Result<void> OpenCLCommandQueueImpl::EnqueueReadImage(const OpenCLMemoryObjectRef& memory, Bool blocking,
                                                      const size_t* origin, const size_t* region,
                                                      size_t rowPitch, size_t slicePitch, void* destination,
                                                      Int waitCount, const OpenCLEventRef* waitList,
                                                      OpenCLEventRef* event) {
    return EnqueueTransfer<entry::clEnqueueReadImage, Wanted::IMAGE>(
        _handle.Get(), memory, waitCount, waitList, event, ToOpenCLBool(blocking), origin, region, rowPitch,
        slicePitch, destination);
}

Result<void> OpenCLCommandQueueImpl::EnqueueWriteImage(const OpenCLMemoryObjectRef& memory, Bool blocking,
                                                       const size_t* origin, const size_t* region,
                                                       size_t rowPitch, size_t slicePitch, const void* source,
                                                       Int waitCount, const OpenCLEventRef* waitList,
                                                       OpenCLEventRef* event) {
    return EnqueueTransfer<entry::clEnqueueWriteImage, Wanted::IMAGE>(
        _handle.Get(), memory, waitCount, waitList, event, ToOpenCLBool(blocking), origin, region, rowPitch,
        slicePitch, source);
}

Result<void> OpenCLCommandQueueImpl::WaitForEvents(Int count, const OpenCLEventRef* events) {
    HandleList<cl_event> handles;
    NUVRA_RETURN_IF_ERROR(handles.Collect(count, events, CL_INVALID_EVENT));
    if (handles.GetCount() == 0) return {};
    return CheckCode(Call<entry::clWaitForEvents>(ResultCode(), handles.GetCount(), handles.GetFirst()));
}

namespace {

constexpr OpenCLCommandQueueInterface::Operations kOperations{
    DeleteObject<OpenCLCommandQueueImpl>,
    kOperation<&OpenCLCommandQueueImpl::Release>,
    kOperation<&OpenCLCommandQueueImpl::EnqueueAcquireGLObjects>,
    kOperation<&OpenCLCommandQueueImpl::EnqueueReleaseGLObjects>,
    kOperation<&OpenCLCommandQueueImpl::EnqueueNDRangeKernel>,
    kOperation<&OpenCLCommandQueueImpl::EnqueueRange>,
    kOperation<&OpenCLCommandQueueImpl::EnqueueGroupedRange>,
    kOperation<&OpenCLCommandQueueImpl::Finish>,
    kOperation<&OpenCLCommandQueueImpl::EnqueueMapBuffer>,
    kOperation<&OpenCLCommandQueueImpl::EnqueueMapImage>,
    kOperation<&OpenCLCommandQueueImpl::EnqueueUnmapMemObject>,
    kOperation<&OpenCLCommandQueueImpl::EnqueueReadBuffer>,
    kOperation<&OpenCLCommandQueueImpl::EnqueueWriteBuffer>,
    kOperation<&OpenCLCommandQueueImpl::EnqueueReadImage>,
    kOperation<&OpenCLCommandQueueImpl::EnqueueWriteImage>,
    kOperation<&OpenCLCommandQueueImpl::WaitForEvents>,
};
constinit InterfaceRecord g_implementation = ImplementInterface<OpenCLCommandQueueInterface>(
    "nuvra.OpenCLCommandQueueInterface", "OpenCLCommandQueueImpl", kOperations);
SourceUnit g_unit{g_openCLModule, "opencl_commandqueue", {&g_implementation}};

}  // namespace

}  // namespace nuvra
