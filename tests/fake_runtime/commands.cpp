#include "entries.h"

#include "answers.h"

using namespace nuvra::fake;

namespace {

/// Where a command waits and what event it gives, as parameters and as recorded arguments.
#define WAITING cl_uint waitCount, const cl_event *waitList, cl_event *event
#define WAITED waitCount, List(waitList, waitCount, CL_INVALID_EVENT_WAIT_LIST), event

/// Ends a command, which gives an event where it succeeds.
cl_int Complete(cl_int code, cl_event* event) {
    if (code == CL_SUCCESS && event != nullptr)
        *event = Create<cl_event>(CL_SUCCESS, nullptr, [](Object&) {});
    return code;
}

/// After the code of recording it, whether the range lies in the memory.
cl_int CheckRange(cl_int code, cl_mem memory, std::size_t offset, std::size_t size, const void* host) {
    if (code != CL_SUCCESS) return code;
    const Object& object = Get(memory);
    const bool fits = offset <= object.byteCount && size <= object.byteCount - offset;
    if (!fits || host == nullptr) return CL_INVALID_VALUE;
    return offset + size <= object.bytes.size() ? CL_SUCCESS : CL_MEM_OBJECT_ALLOCATION_FAILURE;
}

cl_int CheckLaunch(cl_uint dimensions, const size_t* global, const size_t* local) {
    if (dimensions < 1 || dimensions > 3) return CL_INVALID_WORK_DIMENSION;
    for (cl_uint i = 0; i < dimensions; i++) {
        if (global == nullptr || global[i] == 0) return CL_INVALID_GLOBAL_WORK_SIZE;
        if (local != nullptr && (local[i] == 0 || global[i] % local[i] != 0))
            return CL_INVALID_WORK_GROUP_SIZE;
    }
    return CL_SUCCESS;
}

}  // namespace

extern "C" {

cl_int clFinish(cl_command_queue queue) {
    return Record(__func__, queue);
}

cl_int clWaitForEvents(cl_uint count, const cl_event* events) {
    if (const cl_int code = Record(__func__, count, List(events, count))) return code;
    return count == 0 || events == nullptr ? CL_INVALID_VALUE : CL_SUCCESS;
}

cl_int clEnqueueNDRangeKernel(cl_command_queue queue, cl_kernel kernel, cl_uint dimensions,
                              const size_t* offset, const size_t* global, const size_t* local, WAITING) {
    const cl_uint sizes = std::min<cl_uint>(dimensions, 3);  // as many as an array has at most
    const cl_int code = Record(__func__, queue, kernel, dimensions, List(offset, sizes), List(global, sizes),
                               List(local, sizes), WAITED);
    return Complete(code != CL_SUCCESS ? code : CheckLaunch(dimensions, global, local), event);
}

#define SHARING_COMMAND(name)                                                              \
    cl_int name(cl_command_queue queue, cl_uint count, const cl_mem* objects, WAITING) {   \
        return Complete(Record(#name, queue, count, List(objects, count), WAITED), event); \
    }
SHARING_COMMAND(clEnqueueAcquireGLObjects)
SHARING_COMMAND(clEnqueueReleaseGLObjects)

#define BUFFER_COMMAND(name, Host, from, to)                                                         \
    cl_int name(cl_command_queue queue, cl_mem memory, cl_bool blocking, size_t offset, size_t size, \
                Host host, WAITING) {                                                                \
        const cl_int code = Record(#name, queue, memory, blocking, offset, size, host, WAITED);      \
        const cl_int checked = CheckRange(code, memory, offset, size, host);                         \
        if (checked == CL_SUCCESS) std::memcpy(to, from, size);                                      \
        return Complete(checked, event);                                                             \
    }
BUFFER_COMMAND(clEnqueueReadBuffer, void*, Get(memory).bytes.data() + offset, host)
BUFFER_COMMAND(clEnqueueWriteBuffer, const void*, host, Get(memory).bytes.data() + offset)

#define IMAGE_COMMAND(name, Host)                                                                          \
    cl_int name(cl_command_queue queue, cl_mem memory, cl_bool blocking, const size_t* origin,             \
                const size_t* region, size_t rowPitch, size_t slicePitch, Host host, WAITING) {            \
        return Complete(Record(#name, queue, memory, blocking, List(origin, 3), List(region, 3), rowPitch, \
                               slicePitch, host, WAITED),                                                  \
                        event);                                                                            \
    }
IMAGE_COMMAND(clEnqueueReadImage, void*)
IMAGE_COMMAND(clEnqueueWriteImage, const void*)

void* clEnqueueMapBuffer(cl_command_queue queue, cl_mem memory, cl_bool blocking, cl_map_flags flags,
                         size_t offset, size_t size, WAITING, cl_int* codeOut) {
    const cl_int code = Record(__func__, queue, memory, blocking, flags, offset, size, WAITED, codeOut);
    *codeOut = Complete(CheckRange(code, memory, offset, size, &offset), event);
    return *codeOut == CL_SUCCESS ? Get(memory).bytes.data() + offset : nullptr;
}

void* clEnqueueMapImage(cl_command_queue queue, cl_mem memory, cl_bool blocking, cl_map_flags flags,
                        const size_t* origin, const size_t* region, size_t* rowPitch, size_t* slicePitch,
                        WAITING, cl_int* codeOut) {
    const cl_int code = Record(__func__, queue, memory, blocking, flags, List(origin, 3), List(region, 3),
                               rowPitch, slicePitch, WAITED, codeOut);
    *codeOut = Complete(code, event);
    if (code != CL_SUCCESS) return nullptr;
    std::memcpy(rowPitch, Get(memory).info.at(CL_IMAGE_ROW_PITCH).data(), sizeof(*rowPitch));
    return Get(memory).bytes.data();
}

cl_int clEnqueueUnmapMemObject(cl_command_queue queue, cl_mem memory, void* mapped, WAITING) {
    return Complete(Record(__func__, queue, memory, mapped, WAITED), event);
}

}  // extern "C"
