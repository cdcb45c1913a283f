#include "entries.h"

#include <cstring>
#include <string_view>
#include <type_traits>

#include "fake_opencl.h"

/// The runtime's functions, behind what they share: recording arguments, checking handles, answering.
namespace {

using namespace nuvra::fake;

/// Of handles: their name, and the code for one that is no live object.
struct HandleKind {
    const char* name = nullptr;
    cl_int invalid = CL_SUCCESS;
};
template <class H>
constexpr HandleKind kKind{};
#define HANDLE_KIND(H, name, invalid) \
    template <>                       \
    constexpr HandleKind kKind<H>{name, invalid};
HANDLE_KIND(cl_platform_id, "platform", CL_INVALID_PLATFORM)
HANDLE_KIND(cl_device_id, "device", CL_INVALID_DEVICE)
HANDLE_KIND(cl_context, "context", CL_INVALID_CONTEXT)
HANDLE_KIND(cl_command_queue, "queue", CL_INVALID_COMMAND_QUEUE)
HANDLE_KIND(cl_mem, "memory", CL_INVALID_MEM_OBJECT)
HANDLE_KIND(cl_program, "program", CL_INVALID_PROGRAM)
HANDLE_KIND(cl_kernel, "kernel", CL_INVALID_KERNEL)
HANDLE_KIND(cl_event, "event", CL_INVALID_EVENT)

/// An array argument, and the code for handles in it that are no live objects.
template <class T>
struct List {
    List(const T* first, std::size_t number, cl_int code = kKind<T>.invalid)
        : items(first), count(number), invalid(code) {}
    const T* items;
    std::size_t count;
    cl_int invalid;
};

template <class T>
Value ToValue(T value) {
    if constexpr (std::is_same_v<T, Value>)
        return value;
    else if constexpr (std::is_integral_v<T>)
        return static_cast<std::uint64_t>(value);
    else if constexpr (kKind<T>.name != nullptr)
        return Control::Get().Describe(value);
    else if constexpr (std::is_function_v<std::remove_pointer_t<T>>)
        return static_cast<const void*>(reinterpret_cast<void*>(value));
    else
        return static_cast<const void*>(value);
}
Value ToValue(const char* text) {
    if (text == nullptr) return static_cast<const void*>(nullptr);
    return std::string(text);
}
template <class T>
Value ToValue(List<T> list) {
    if (list.items == nullptr) return static_cast<const void*>(nullptr);
    if constexpr (kKind<T>.name != nullptr) {
        Handles handles;
        for (std::size_t i = 0; i < list.count; i++) handles.push_back(Control::Get().Find(list.items[i]));
        return handles;
    } else {
        using Copy = std::conditional_t<sizeof(T) == 1, Bytes, Numbers>;
        return Copy(list.items, list.items + list.count);
    }
}

/// The code for an array that holds what is no live object, or for such an argument.
template <class T>
cl_int Check(const List<T>& list) {
    if (std::is_same_v<T, cl_event> && (list.count == 0) != (list.items == nullptr)) return list.invalid;
    if constexpr (kKind<T>.name != nullptr)
        for (std::size_t i = 0; list.items != nullptr && i < list.count; i++)
            if (!Control::Get().Check(kKind<T>.name, list.items[i])) return list.invalid;
    return CL_SUCCESS;
}
template <class T>
cl_int Check(const T& value) {
    return Check(List(&value, 1));
}

/// Records a call. The code is that which it is to fail with, or the first for an invalid handle.
template <class... A>
cl_int Record(const char* name, const A&... arguments) {
    cl_int code = Control::Get().Record(name, {ToValue(arguments)...});
    ((code = code == CL_SUCCESS ? Check(arguments) : code), ...);
    return code;
}

/// The object behind a handle that was checked.
template <class H>
Object& Get(H handle) {
    return *reinterpret_cast<Object*>(handle);
}

/// Drops a count whatever it is to answer or throw.
template <class H>
cl_int Release(const char* name, H handle) {
    const std::shared_ptr<Object> drop(Control::Get().Find(handle), [](Object* object) {
        if (object != nullptr && object->count > 0) object->count--;
    });
    return Record(name, handle);
}

/// Ends a creating call: the failing code with no object, or a new object filled by `fill`.
template <class H, class Fill>
H Create(cl_int code, cl_int* codeOut, const Fill& fill) {
    Object* object = nullptr;
    if (code == CL_SUCCESS) {
        object = &Control::Get().Make(kKind<H>.name);
        fill(*object);
        code = Control::Get().createdCode;
    }
    if (codeOut != nullptr) *codeOut = code;
    return reinterpret_cast<H>(object);
}

cl_int Answer(const Bytes& bytes, std::size_t size, void* value, std::size_t* sizeOut) {
    if (value != nullptr) {
        if (size < bytes.size()) return CL_INVALID_VALUE;
        std::ranges::copy(bytes, static_cast<std::uint8_t*>(value));
    }
    if (sizeOut != nullptr) *sizeOut = bytes.size();
    return CL_SUCCESS;
}

/// An information query about an object, and for which others.
template <class H, class... Others>
cl_int AnswerAbout(const char* name, cl_uint which, std::size_t size, void* value, std::size_t* sizeOut,
                   H handle, Others... others) {
    if (const cl_int code = Record(name, handle, others..., which, size, value, sizeOut)) return code;
    const auto found = Get(handle).info.find(which);
    return found == Get(handle).info.end() ? CL_INVALID_VALUE : Answer(found->second, size, value, sizeOut);
}

/// The two-step list query: at most `room` items, and their number.
template <class T, class Item>
cl_int AnswerList(const std::vector<Item>& items, cl_uint room, T* list, cl_uint* count) {
    const auto* first = reinterpret_cast<const T*>(items.data());
    if (list != nullptr) std::copy_n(first, std::min<std::size_t>(room, items.size()), list);
    if (count != nullptr) *count = static_cast<cl_uint>(items.size());
    return CL_SUCCESS;
}

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

cl_int CheckMemory(cl_int code, cl_mem_flags flags, const void* host) {
    const bool wantsHost = (flags & (CL_MEM_USE_HOST_PTR | CL_MEM_COPY_HOST_PTR)) != 0;
    if (code == CL_SUCCESS && wantsHost != (host != nullptr)) return CL_INVALID_HOST_PTR;
    return code;
}

/// A test may ask for more memory than the machine has.
void SetSize(Object& memory, std::size_t size) {
    constexpr std::size_t kKept = std::size_t{1} << 26;
    memory.byteCount = size;
    memory.info[CL_MEM_SIZE] = NumberBytes<std::size_t>({size});
    memory.bytes.resize(std::min(size, kKept), 0xEE);
}

/// An image of pixels of four channels, other layouts not being looked at; a depth of 0 makes two dimensions.
cl_mem CreateImage(cl_int code, cl_mem_flags flags, const cl_image_format& format, std::size_t width,
                   std::size_t height, std::size_t depth, const void* host, cl_int* codeOut) {
    code = CheckMemory(code, flags, host);
    if (code == CL_SUCCESS && (width == 0 || height == 0)) code = CL_INVALID_IMAGE_SIZE;
    return Create<cl_mem>(code, codeOut, [&](Object& image) {
        const std::size_t pixel = format.image_channel_data_type == CL_FLOAT ? 16 : 4;
        const std::size_t row = pixel * width;
        SetSize(image, row * height * std::max<std::size_t>(depth, 1));
        image.isImage = true;
        image.info[CL_IMAGE_FORMAT] = NumberBytes<cl_image_format>({format});
        for (const auto& [which, value] : {std::pair{CL_IMAGE_ELEMENT_SIZE, pixel},
                                           {CL_IMAGE_ROW_PITCH, row},
                                           {CL_IMAGE_SLICE_PITCH, depth > 0 ? row * height : 0},
                                           {CL_IMAGE_WIDTH, width},
                                           {CL_IMAGE_HEIGHT, height},
                                           {CL_IMAGE_DEPTH, depth}})
            image.info[which] = NumberBytes<std::size_t>({value});
    });
}

cl_program CreateProgram(cl_int code, cl_context context, cl_int* codeOut, const std::string& text,
                         bool isBinary) {
    return Create<cl_program>(code, codeOut, [&](Object& program) {
        program.text = text;
        program.devices = Get(context).devices;
        program.isBuilt = isBinary;
    });
}

/// A zero-terminated property list; handles of the runtime have their names.
Value DescribeProperties(const cl_context_properties* properties) {
    std::string text;
    for (; *properties != 0; properties++) {
        const Object* object = Control::Get().Find(reinterpret_cast<const void*>(*properties));
        text += (text.empty() ? "" : " ") +
                (object != nullptr ? Control::Get().NameOf(object) : std::to_string(*properties));
    }
    return text;
}

#define QUERY cl_uint which, size_t size, void *value, size_t *sizeOut
#define QUERIED which, size, value, sizeOut

/// Answers with the ids of all devices that can share.
cl_int CL_API_CALL GetGLContextInfo(const cl_context_properties* properties, QUERY) {
    if (const cl_int code = Record("clGetGLContextInfoKHR", DescribeProperties(properties), QUERIED))
        return code;
    return Answer(NumberBytes(*Control::Get().sharingDevices), size, value, sizeOut);
}

}  // namespace

extern "C" {

#define RELEASE_FUNCTION(name, Handle) \
    cl_int name(Handle handle) {       \
        return Release(#name, handle); \
    }
RELEASE_FUNCTION(clReleaseContext, cl_context)
RELEASE_FUNCTION(clReleaseCommandQueue, cl_command_queue)
RELEASE_FUNCTION(clReleaseMemObject, cl_mem)
RELEASE_FUNCTION(clReleaseProgram, cl_program)
RELEASE_FUNCTION(clReleaseKernel, cl_kernel)
RELEASE_FUNCTION(clReleaseEvent, cl_event)

#define INFO_FUNCTION(name, Handle)                 \
    cl_int name(Handle handle, QUERY) {             \
        return AnswerAbout(#name, QUERIED, handle); \
    }
INFO_FUNCTION(clGetPlatformInfo, cl_platform_id)
INFO_FUNCTION(clGetDeviceInfo, cl_device_id)
INFO_FUNCTION(clGetContextInfo, cl_context)
INFO_FUNCTION(clGetMemObjectInfo, cl_mem)

cl_int clGetPlatformIDs(cl_uint room, cl_platform_id* platforms, cl_uint* count) {
    if (const cl_int code = Record(__func__, room, platforms, count)) return code;
    return AnswerList(Control::Get().platforms, room, platforms, count);
}

cl_int clGetDeviceIDs(cl_platform_id platform, cl_device_type type, cl_uint room, cl_device_id* devices,
                      cl_uint* count) {
    if (const cl_int code = Record(__func__, platform, type, room, devices, count)) return code;
    if (Get(platform).devices.empty()) return CL_DEVICE_NOT_FOUND;
    return AnswerList(Get(platform).devices, room, devices, count);
}

cl_context clCreateContext(const cl_context_properties* properties, cl_uint count,
                           const cl_device_id* devices,
                           void(CL_CALLBACK* notify)(const char*, const void*, size_t, void*), void* userData,
                           cl_int* codeOut) {
    cl_int code = Record(__func__, DescribeProperties(properties), count, List(devices, count), notify,
                         userData, codeOut);
    if (code == CL_SUCCESS && devices == nullptr && !Control::Get().allowsNoDevices) code = CL_INVALID_VALUE;
    return Create<cl_context>(code, codeOut, [&](Object& context) {
        for (cl_uint i = 0; i < count; i++) context.devices.push_back(&Get(devices[i]));
        for (const auto* one = properties; *one != 0; one += 2)
            context.isSharing = context.isSharing || *one == CL_GL_CONTEXT_KHR;
    });
}

cl_command_queue clCreateCommandQueue(cl_context context, cl_device_id device,
                                      cl_command_queue_properties properties, cl_int* codeOut) {
    return Create<cl_command_queue>(Record(__func__, context, device, properties, codeOut), codeOut,
                                    [&](Object& queue) { queue.isSharing = Get(context).isSharing; });
}

void* clGetExtensionFunctionAddress(const char* name) {
    const bool isSharing =
        std::string_view(name) == "clGetGLContextInfoKHR" && Control::Get().sharingDevices.has_value();
    const bool isFound = Record(__func__, name) == CL_SUCCESS && isSharing;
    return isFound ? reinterpret_cast<void*>(&GetGLContextInfo) : nullptr;
}

#define TEXTURE_FUNCTION(name)                                                                               \
    cl_mem name(cl_context context, cl_mem_flags flags, cl_GLenum target, cl_GLint level, cl_GLuint texture, \
                cl_int* codeOut) {                                                                           \
        return CreateImage(Record(#name, context, flags, target, level, texture, codeOut), 0,                \
                           {CL_RGBA, CL_UNORM_INT8}, 4, 4, 0, nullptr, codeOut);                             \
    }
TEXTURE_FUNCTION(clCreateFromGLTexture2D)
TEXTURE_FUNCTION(clCreateFromGLTexture3D)

cl_mem clCreateFromGLBuffer(cl_context context, cl_mem_flags flags, cl_GLuint buffer, cl_int* codeOut) {
    return Create<cl_mem>(Record(__func__, context, flags, buffer, codeOut), codeOut,
                          [](Object& memory) { SetSize(memory, 64); });
}

cl_mem clCreateBuffer(cl_context context, cl_mem_flags flags, size_t size, void* host, cl_int* codeOut) {
    cl_int code = CheckMemory(Record(__func__, context, flags, size, host, codeOut), flags, host);
    if (code == CL_SUCCESS && size == 0) code = CL_INVALID_BUFFER_SIZE;
    return Create<cl_mem>(code, codeOut, [&](Object& buffer) {
        SetSize(buffer, size);
        if (host != nullptr) std::memcpy(buffer.bytes.data(), host, buffer.bytes.size());
    });
}

cl_mem clCreateImage2D(cl_context context, cl_mem_flags flags, const cl_image_format* format, size_t width,
                       size_t height, size_t rowPitch, void* host, cl_int* codeOut) {
    const List description(&format->image_channel_order, 2);
    const cl_int code = Record(__func__, context, flags, description, width, height, rowPitch, host, codeOut);
    return CreateImage(code, flags, *format, width, height, 0, host, codeOut);
}

cl_mem clCreateImage3D(cl_context context, cl_mem_flags flags, const cl_image_format* format, size_t width,
                       size_t height, size_t depth, size_t rowPitch, size_t slicePitch, void* host,
                       cl_int* codeOut) {
    const List description(&format->image_channel_order, 2);
    const cl_int code = Record(__func__, context, flags, description, width, height, depth, rowPitch,
                               slicePitch, host, codeOut);
    return CreateImage(code, flags, *format, width, height, depth, host, codeOut);
}

cl_int clGetSupportedImageFormats(cl_context context, cl_mem_flags flags, cl_mem_object_type type,
                                  cl_uint room, cl_image_format* formats, cl_uint* count) {
    if (const cl_int code = Record(__func__, context, flags, type, room, formats, count)) return code;
    if (type == 0) return CL_INVALID_VALUE;
    return AnswerList(Control::Get().imageFormats, room, formats, count);
}

cl_int clGetImageInfo(cl_mem memory, QUERY) {
    const cl_int code = AnswerAbout(__func__, QUERIED, memory);
    // Real runtimes answer image queries for buffers, too, with whatever stands there.
    const bool isStrange = code == CL_INVALID_VALUE && !Get(memory).isImage;
    return isStrange ? Answer(NumberBytes<std::size_t>({7}), size, value, sizeOut) : code;
}

cl_program clCreateProgramWithSource(cl_context context, cl_uint count, const char** strings,
                                     const size_t* lengths, cl_int* codeOut) {
    std::string source;
    bool isComplete = count > 0;
    for (cl_uint i = 0; strings != nullptr && i < count && isComplete; i++) {
        isComplete = strings[i] != nullptr;
        if (isComplete)
            source += lengths != nullptr && lengths[i] > 0 ? std::string(strings[i], lengths[i]) : strings[i];
    }
    cl_int code = Record(__func__, context, count, strings != nullptr ? Value(source) : ToValue(strings),
                         List(lengths, count), codeOut);
    if (code == CL_SUCCESS && !isComplete) code = CL_INVALID_VALUE;
    return CreateProgram(code, context, codeOut, source, false);
}

cl_program clCreateProgramWithBinary(cl_context context, cl_uint count, const cl_device_id* devices,
                                     const size_t* lengths, const unsigned char** binaries, cl_int* status,
                                     cl_int* codeOut) {
    cl_int code = Record(__func__, context, count, List(devices, count), List(lengths, count),
                         List(binaries[0], lengths[0]), status, codeOut);
    if (code == CL_SUCCESS && (lengths[0] == 0 || binaries[0] == nullptr)) code = CL_INVALID_VALUE;
    const auto* first = reinterpret_cast<const char*>(binaries[0]);
    return CreateProgram(code, context, codeOut, std::string(first, first + lengths[0]), true);
}

cl_int clBuildProgram(cl_program program, cl_uint count, const cl_device_id* devices, const char* options,
                      void(CL_CALLBACK* notify)(cl_program, void*), void* userData) {
    if (const cl_int code = Record(__func__, program, count, List(devices, count), options, notify, userData))
        return code;
    Get(program).isBuilt = true;
    return CL_SUCCESS;
}

cl_int clGetProgramBuildInfo(cl_program program, cl_device_id device, QUERY) {
    if (const cl_int code = Record(__func__, program, device, QUERIED)) return code;
    if (which != CL_PROGRAM_BUILD_LOG) return CL_INVALID_VALUE;
    return Answer(TextBytes(Control::Get().buildLog), size, value, sizeOut);
}

cl_int clGetProgramInfo(cl_program program, QUERY) {
    if (const cl_int code = Record(__func__, program, QUERIED)) return code;
    const Bytes& binary = Control::Get().binary;
    const std::vector<std::size_t> sizes(Get(program).devices.size(), binary.size());
    if (which == CL_PROGRAM_BINARY_SIZES) return Answer(NumberBytes(sizes), size, value, sizeOut);
    if (which != CL_PROGRAM_BINARIES || value == nullptr || size < sizes.size() * sizeof(void*))
        return CL_INVALID_VALUE;
    for (std::size_t i = 0; i < sizes.size(); i++)
        if (auto* target = static_cast<unsigned char**>(value)[i]) std::ranges::copy(binary, target);
    return CL_SUCCESS;
}

cl_kernel clCreateKernel(cl_program program, const char* name, cl_int* codeOut) {
    cl_int code = Record(__func__, program, name, codeOut);
    if (code == CL_SUCCESS && !Get(program).isBuilt) code = CL_INVALID_PROGRAM_EXECUTABLE;
    if (code == CL_SUCCESS && Get(program).text.find(name) == std::string::npos)
        code = CL_INVALID_KERNEL_NAME;
    return Create<cl_kernel>(code, codeOut,
                             [](Object& kernel) { kernel.info = Control::Get().workGroupInfo; });
}

cl_int clSetKernelArg(cl_kernel kernel, cl_uint index, size_t size, const void* value) {
    Value argument = ToValue(List(static_cast<const std::uint8_t*>(value), size));
    const void* handle = nullptr;
    if (value != nullptr && size == sizeof(handle)) {
        std::memcpy(&handle, value, sizeof(handle));
        if (const Object* memory = Control::Get().Find(handle)) argument = memory;
    }
    if (const cl_int code = Record(__func__, kernel, index, size, argument)) return code;
    if (size == 0) return CL_INVALID_ARG_SIZE;
    Get(kernel).arguments[index] = argument;
    return CL_SUCCESS;
}

cl_int clGetKernelWorkGroupInfo(cl_kernel kernel, cl_device_id device, QUERY) {
    return AnswerAbout(__func__, QUERIED, kernel, device);
}

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
