#include "entries.h"

#include "answers.h"

using namespace nuvra::fake;

namespace {

cl_int CheckEvents(cl_uint count, const cl_event* events, cl_int invalid) {
    for (cl_uint i = 0; i < count; i++)
        if (Find(events[i]) == nullptr) return invalid;
    return CL_SUCCESS;
}

/// Where a command waits and what event it gives.
struct Waiting {
    cl_uint count;
    const cl_event* list;
    cl_event* event;
};
#define WAITING cl_uint waitCount, const cl_event *waitList, cl_event *event
#define IS_WAITING                 \
    Waiting {                      \
        waitCount, waitList, event \
    }

/// Records a command and checks what all commands have; gives the event when `check`, the command's own
/// answer, is success. The code's place, which mapping has, is only recorded.
template <class Check, class Place, class... A>
cl_int EnqueueMap(const char* name, const Waiting& waiting, const Check& check, Place codeOut,
                  cl_command_queue queue, const A&... arguments) {
    const List list(waiting.list, waiting.count);
    cl_int code;
    if constexpr (std::is_null_pointer_v<Place>)
        code = Record(name, queue, arguments..., waiting.count, list, waiting.event);
    else
        code = Record(name, queue, arguments..., waiting.count, list, waiting.event, codeOut);
    if (code != CL_SUCCESS) return code;
    code = check();
    if (Find(queue) == nullptr) return CL_INVALID_COMMAND_QUEUE;
    if ((waiting.count == 0) != (waiting.list == nullptr)) return CL_INVALID_EVENT_WAIT_LIST;
    if (const cl_int invalid = CheckEvents(waiting.count, waiting.list, CL_INVALID_EVENT_WAIT_LIST))
        return invalid;
    if (code == CL_SUCCESS && waiting.event != nullptr) *waiting.event = Make<cl_event>();
    return code;
}

template <class Check, class... A>
cl_int Enqueue(const char* name, const Waiting& waiting, const Check& check, const A&... arguments) {
    return EnqueueMap(name, waiting, check, nullptr, arguments...);
}

cl_int CheckRange(cl_mem memory, std::size_t offset, std::size_t size, const void* host) {
    const Object* object = Find(memory);
    if (object == nullptr) return CL_INVALID_MEM_OBJECT;
    const bool fits = offset <= object->byteCount && size <= object->byteCount - offset;
    if (!fits || host == nullptr) return CL_INVALID_VALUE;
    return offset + size <= object->bytes.size() ? CL_SUCCESS : CL_MEM_OBJECT_ALLOCATION_FAILURE;
}

/// Of one memory object or several.
auto CheckMemory(cl_uint count, const cl_mem* objects) {
    return [=]() -> cl_int {
        for (cl_uint i = 0; i < count; i++)
            if (Find(objects[i]) == nullptr) return CL_INVALID_MEM_OBJECT;
        return CL_SUCCESS;
    };
}

cl_int CheckLaunch(const Object* kernel, cl_uint dimensions, const size_t* global, const size_t* local) {
    if (kernel == nullptr) return CL_INVALID_KERNEL;
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

cl_int clEnqueueNDRangeKernel(cl_command_queue queue, cl_kernel kernel, cl_uint dimensions,
                              const size_t* offset, const size_t* global, const size_t* local, WAITING) {
    const cl_uint sizes = std::min<cl_uint>(dimensions, 3);  // as many as an array has at most
    const auto check = [&] { return CheckLaunch(Find(kernel), dimensions, global, local); };
    return Enqueue(__func__, IS_WAITING, check, queue, kernel, dimensions, List(offset, sizes),
                   List(global, sizes), List(local, sizes));
}

cl_int clFinish(cl_command_queue queue) {
    if (const cl_int code = Record(__func__, queue)) return code;
    return Find(queue) != nullptr ? CL_SUCCESS : CL_INVALID_COMMAND_QUEUE;
}

cl_int clEnqueueAcquireGLObjects(cl_command_queue queue, cl_uint count, const cl_mem* objects, WAITING) {
    return Enqueue(__func__, IS_WAITING, CheckMemory(count, objects), queue, count, List(objects, count));
}

cl_int clEnqueueReleaseGLObjects(cl_command_queue queue, cl_uint count, const cl_mem* objects, WAITING) {
    return Enqueue(__func__, IS_WAITING, CheckMemory(count, objects), queue, count, List(objects, count));
}

void* clEnqueueMapBuffer(cl_command_queue queue, cl_mem memory, cl_bool blocking, cl_map_flags flags,
                         size_t offset, size_t size, WAITING, cl_int* codeOut) {
    const auto check = [&] { return CheckRange(memory, offset, size, &offset); };
    *codeOut = EnqueueMap(__func__, IS_WAITING, check, codeOut, queue, memory, blocking, flags, offset, size);
    return *codeOut == CL_SUCCESS ? Find(memory)->bytes.data() + offset : nullptr;
}

void* clEnqueueMapImage(cl_command_queue queue, cl_mem memory, cl_bool blocking, cl_map_flags flags,
                        const size_t* origin, const size_t* region, size_t* rowPitch, size_t* slicePitch,
                        WAITING, cl_int* codeOut) {
    *codeOut = EnqueueMap(__func__, IS_WAITING, CheckMemory(1, &memory), codeOut, queue, memory, blocking,
                          flags, List(origin, 3), List(region, 3), rowPitch, slicePitch);
    if (*codeOut != CL_SUCCESS) return nullptr;
    Object* image = Find(memory);
    *rowPitch = image->size[0] * PixelSize(image->image.value_or(cl_image_format{CL_R, CL_UNORM_INT8}));
    return image->bytes.data();
}

cl_int clEnqueueUnmapMemObject(cl_command_queue queue, cl_mem memory, void* mapped, WAITING) {
    return Enqueue(__func__, IS_WAITING, CheckMemory(1, &memory), queue, memory, mapped);
}

cl_int clEnqueueReadBuffer(cl_command_queue queue, cl_mem memory, cl_bool blocking, size_t offset,
                           size_t size, void* host, WAITING) {
    const auto check = [&] { return CheckRange(memory, offset, size, host); };
    const cl_int code = Enqueue(__func__, IS_WAITING, check, queue, memory, blocking, offset, size, host);
    if (code == CL_SUCCESS) std::memcpy(host, Find(memory)->bytes.data() + offset, size);
    return code;
}

cl_int clEnqueueWriteBuffer(cl_command_queue queue, cl_mem memory, cl_bool blocking, size_t offset,
                            size_t size, const void* host, WAITING) {
    const auto check = [&] { return CheckRange(memory, offset, size, host); };
    const cl_int code = Enqueue(__func__, IS_WAITING, check, queue, memory, blocking, offset, size, host);
    if (code == CL_SUCCESS) std::memcpy(Find(memory)->bytes.data() + offset, host, size);
    return code;
}

cl_int clEnqueueReadImage(cl_command_queue queue, cl_mem memory, cl_bool blocking, const size_t* origin,
                          const size_t* region, size_t rowPitch, size_t slicePitch, void* host, WAITING) {
    return Enqueue(__func__, IS_WAITING, CheckMemory(1, &memory), queue, memory, blocking, List(origin, 3),
                   List(region, 3), rowPitch, slicePitch, host);
}

cl_int clEnqueueWriteImage(cl_command_queue queue, cl_mem memory, cl_bool blocking, const size_t* origin,
                           const size_t* region, size_t rowPitch, size_t slicePitch, const void* host,
                           WAITING) {
    return Enqueue(__func__, IS_WAITING, CheckMemory(1, &memory), queue, memory, blocking, List(origin, 3),
                   List(region, 3), rowPitch, slicePitch, host);
}

cl_int clWaitForEvents(cl_uint count, const cl_event* events) {
    if (const cl_int code = Record(__func__, count, List(events, count))) return code;
    if (count == 0 || events == nullptr) return CL_INVALID_VALUE;
    return CheckEvents(count, events, CL_INVALID_EVENT);
}

}  // extern "C"
