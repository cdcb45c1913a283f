#include "entries.h"

#include "answers.h"

using namespace nuvra::fake;

namespace {

cl_int CheckMemory(cl_context context, cl_mem_flags flags, const void* host) {
    if (Find(context) == nullptr) return CL_INVALID_CONTEXT;
    const bool wantsHost = (flags & (CL_MEM_USE_HOST_PTR | CL_MEM_COPY_HOST_PTR)) != 0;
    return wantsHost == (host != nullptr) ? CL_SUCCESS : CL_INVALID_HOST_PTR;
}

/// A test may ask for more memory than the machine has.
void SetSize(Object& memory, std::size_t size) {
    constexpr std::size_t kKept = std::size_t{1} << 26;
    memory.byteCount = size;
    memory.bytes.resize(std::min(size, kKept), 0xEE);
}

cl_mem CreateImage(cl_int code, cl_context context, cl_mem_flags flags, const cl_image_format* format,
                   std::initializer_list<std::size_t> size, const void* host, cl_int* codeOut) {
    const std::size_t pixels = size.begin()[0] * size.begin()[1] * std::max<std::size_t>(size.begin()[2], 1);
    if (code == CL_SUCCESS) code = CheckMemory(context, flags, host);
    if (code == CL_SUCCESS && pixels == 0) code = CL_INVALID_IMAGE_SIZE;
    return Create<cl_mem>(code, codeOut, [&](Object& image) {
        image.image = *format;
        SetSize(image, pixels * PixelSize(*format));
        std::copy(size.begin(), size.end(), image.size);
    });
}

cl_mem CreateShared(cl_int code, cl_context context, cl_int* codeOut, bool isTexture) {
    if (code == CL_SUCCESS && Find(context) == nullptr) code = CL_INVALID_CONTEXT;
    return Create<cl_mem>(code, codeOut, [&](Object& memory) {
        SetSize(memory, 64);
        if (!isTexture) return;
        memory.image = {CL_RGBA, CL_UNORM_INT8};
        memory.size[0] = memory.size[1] = 4;
    });
}

cl_program CreateProgram(cl_int code, cl_context context, cl_int* codeOut, const std::string& text,
                         bool isBinary) {
    Object* owner = code == CL_SUCCESS ? Find(context) : nullptr;
    if (code == CL_SUCCESS && owner == nullptr) code = CL_INVALID_CONTEXT;
    return Create<cl_program>(code, codeOut, [&](Object& program) {
        program.text = text;
        program.devices = owner->devices;
        program.isBuilt = isBinary;
    });
}

/// A zero-terminated property list; handles of the runtime have their names.
Value DescribeProperties(const cl_context_properties* properties) {
    if (properties == nullptr) return static_cast<const void*>(nullptr);
    std::string text;
    for (; *properties != 0; properties++) {
        const auto* handle = reinterpret_cast<const void*>(*properties);
        const bool isHandle = Control::Get().FindAny(handle) != nullptr;
        text += (text.empty() ? "" : " ") +
                (isHandle ? Control::Get().NameOf(handle) : std::to_string(*properties));
    }
    return text;
}

/// Answers with the ids of all devices that can share.
cl_int CL_API_CALL GetGLContextInfo(const cl_context_properties* properties, cl_gl_context_info which,
                                    size_t size, void* value, size_t* sizeOut) {
    if (const cl_int code =
            Record("clGetGLContextInfoKHR", DescribeProperties(properties), which, size, value, sizeOut))
        return code;
    Bytes ids;
    for (const Object* device : *Control::Get().sharingDevices) {
        const Bytes one = NumberBytes<const Object*>({device});
        ids.insert(ids.end(), one.begin(), one.end());
    }
    return Answer(ids, size, value, sizeOut);
}

}  // namespace

extern "C" {

#define RELEASE_FUNCTION(name, Handle, invalid) \
    cl_int name(Handle handle) {                \
        return Release(#name, handle, invalid); \
    }
RELEASE_FUNCTION(clReleaseContext, cl_context, CL_INVALID_CONTEXT)
RELEASE_FUNCTION(clReleaseCommandQueue, cl_command_queue, CL_INVALID_COMMAND_QUEUE)
RELEASE_FUNCTION(clReleaseMemObject, cl_mem, CL_INVALID_MEM_OBJECT)
RELEASE_FUNCTION(clReleaseProgram, cl_program, CL_INVALID_PROGRAM)
RELEASE_FUNCTION(clReleaseKernel, cl_kernel, CL_INVALID_KERNEL)
RELEASE_FUNCTION(clReleaseEvent, cl_event, CL_INVALID_EVENT)

cl_int clGetPlatformIDs(cl_uint room, cl_platform_id* platforms, cl_uint* count) {
    if (const cl_int code = Record(__func__, room, platforms, count)) return code;
    return AnswerList(Control::Get().platforms, room, platforms, count);
}

cl_int clGetPlatformInfo(cl_platform_id platform, cl_uint which, size_t size, void* value, size_t* sizeOut) {
    return AnswerAbout(__func__, platform, CL_INVALID_PLATFORM, which, size, value, sizeOut,
                       [](const Object& object) { return object.info; });
}

cl_int clGetDeviceIDs(cl_platform_id platform, cl_device_type type, cl_uint room, cl_device_id* devices,
                      cl_uint* count) {
    if (const cl_int code = Record(__func__, platform, type, room, devices, count)) return code;
    const Object* object = Find(platform);
    if (object == nullptr) return CL_INVALID_PLATFORM;
    if (object->devices.empty()) return CL_DEVICE_NOT_FOUND;
    return AnswerList(object->devices, room, devices, count);
}

cl_int clGetDeviceInfo(cl_device_id device, cl_uint which, size_t size, void* value, size_t* sizeOut) {
    return AnswerAbout(__func__, device, CL_INVALID_DEVICE, which, size, value, sizeOut,
                       [](const Object& object) { return object.info; });
}

cl_context clCreateContext(const cl_context_properties* properties, cl_uint count,
                           const cl_device_id* devices,
                           void(CL_CALLBACK* notify)(const char*, const void*, size_t, void*), void* userData,
                           cl_int* codeOut) {
    cl_int code = Record(__func__, DescribeProperties(properties), count, List(devices, count), notify,
                         userData, codeOut);
    if (code == CL_SUCCESS && devices == nullptr && !Control::Get().allowsNoDevices) code = CL_INVALID_VALUE;
    for (cl_uint i = 0; code == CL_SUCCESS && i < count; i++)
        if (Find(devices[i]) == nullptr) code = CL_INVALID_DEVICE;
    return Create<cl_context>(code, codeOut, [&](Object& context) {
        for (cl_uint i = 0; i < count; i++) context.devices.push_back(Find(devices[i]));
        for (const auto* one = properties; *one != 0; one += 2)
            context.isSharing = context.isSharing || *one == CL_GL_CONTEXT_KHR;
    });
}

cl_int clGetContextInfo(cl_context context, cl_uint which, size_t size, void* value, size_t* sizeOut) {
    return AnswerAbout(__func__, context, CL_INVALID_CONTEXT, which, size, value, sizeOut,
                       [](const Object&) { return Info(); });
}

cl_command_queue clCreateCommandQueue(cl_context context, cl_device_id device,
                                      cl_command_queue_properties properties, cl_int* codeOut) {
    cl_int code = Record(__func__, context, device, properties, codeOut);
    if (code == CL_SUCCESS && Find(context) == nullptr) code = CL_INVALID_CONTEXT;
    if (code == CL_SUCCESS && Find(device) == nullptr) code = CL_INVALID_DEVICE;
    return Create<cl_command_queue>(code, codeOut,
                                    [&](Object& queue) { queue.isSharing = Find(context)->isSharing; });
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
        return CreateShared(Record(#name, context, flags, target, level, texture, codeOut), context,         \
                            codeOut, true);                                                                  \
    }
TEXTURE_FUNCTION(clCreateFromGLTexture2D)
TEXTURE_FUNCTION(clCreateFromGLTexture3D)

cl_mem clCreateFromGLBuffer(cl_context context, cl_mem_flags flags, cl_GLuint buffer, cl_int* codeOut) {
    return CreateShared(Record(__func__, context, flags, buffer, codeOut), context, codeOut, false);
}

cl_mem clCreateBuffer(cl_context context, cl_mem_flags flags, size_t size, void* host, cl_int* codeOut) {
    cl_int code = Record(__func__, context, flags, size, host, codeOut);
    if (code == CL_SUCCESS) code = CheckMemory(context, flags, host);
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
    return CreateImage(code, context, flags, format, {width, height, 0}, host, codeOut);
}

cl_mem clCreateImage3D(cl_context context, cl_mem_flags flags, const cl_image_format* format, size_t width,
                       size_t height, size_t depth, size_t rowPitch, size_t slicePitch, void* host,
                       cl_int* codeOut) {
    const List description(&format->image_channel_order, 2);
    const cl_int code = Record(__func__, context, flags, description, width, height, depth, rowPitch,
                               slicePitch, host, codeOut);
    return CreateImage(code, context, flags, format, {width, height, depth}, host, codeOut);
}

cl_int clGetSupportedImageFormats(cl_context context, cl_mem_flags flags, cl_mem_object_type type,
                                  cl_uint room, cl_image_format* formats, cl_uint* count) {
    if (const cl_int code = Record(__func__, context, flags, type, room, formats, count)) return code;
    if (Find(context) == nullptr) return CL_INVALID_CONTEXT;
    if (type == 0) return CL_INVALID_VALUE;
    const auto& offered = Control::Get().imageFormats;
    if (formats != nullptr)
        std::copy_n(offered.begin(), std::min<std::size_t>(room, offered.size()), formats);
    if (count != nullptr) *count = static_cast<cl_uint>(offered.size());
    return CL_SUCCESS;
}

cl_int clGetImageInfo(cl_mem memory, cl_image_info which, size_t size, void* value, size_t* sizeOut) {
    if (const cl_int code = Record(__func__, memory, which, size, value, sizeOut)) return code;
    const Object* image = Find(memory);
    if (image == nullptr) return CL_INVALID_MEM_OBJECT;
    // Real runtimes answer image queries for buffers, too, with whatever stands there.
    if (!image->image) return Answer(NumberBytes<std::size_t>({7}), size, value, sizeOut);
    const std::size_t pixel = PixelSize(*image->image);
    const std::size_t row = pixel * image->size[0];
    const std::size_t slice = image->size[2] > 0 ? row * image->size[1] : 0;
    return Answer({{CL_IMAGE_FORMAT, NumberBytes<cl_image_format>({*image->image})},
                   {CL_IMAGE_ELEMENT_SIZE, NumberBytes<std::size_t>({pixel})},
                   {CL_IMAGE_ROW_PITCH, NumberBytes<std::size_t>({row})},
                   {CL_IMAGE_SLICE_PITCH, NumberBytes<std::size_t>({slice})},
                   {CL_IMAGE_WIDTH, NumberBytes<std::size_t>({image->size[0]})},
                   {CL_IMAGE_HEIGHT, NumberBytes<std::size_t>({image->size[1]})},
                   {CL_IMAGE_DEPTH, NumberBytes<std::size_t>({image->size[2]})}},
                  which, size, value, sizeOut);
}

cl_int clGetMemObjectInfo(cl_mem memory, cl_uint which, size_t size, void* value, size_t* sizeOut) {
    return AnswerAbout(__func__, memory, CL_INVALID_MEM_OBJECT, which, size, value, sizeOut,
                       [](const Object& object) {
                           return Info{{CL_MEM_SIZE, NumberBytes<std::size_t>({object.byteCount})}};
                       });
}

cl_program clCreateProgramWithSource(cl_context context, cl_uint count, const char** strings,
                                     const size_t* lengths, cl_int* codeOut) {
    std::string source;
    bool isComplete = true;
    for (cl_uint i = 0; strings != nullptr && i < count; i++) {
        isComplete = isComplete && strings[i] != nullptr;
        if (isComplete)
            source += lengths != nullptr && lengths[i] > 0 ? std::string(strings[i], lengths[i]) : strings[i];
    }
    cl_int code = Record(__func__, context, count, strings != nullptr ? Value(source) : ToValue(strings),
                         List(lengths, count), codeOut);
    if (code == CL_SUCCESS && (!isComplete || count == 0)) code = CL_INVALID_VALUE;
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
    Object* object = Find(program);
    if (object == nullptr) return CL_INVALID_PROGRAM;
    object->isBuilt = true;
    return CL_SUCCESS;
}

cl_int clGetProgramBuildInfo(cl_program program, cl_device_id device, cl_program_build_info which,
                             size_t size, void* value, size_t* sizeOut) {
    if (const cl_int code = Record(__func__, program, device, which, size, value, sizeOut)) return code;
    if (Find(program) == nullptr) return CL_INVALID_PROGRAM;
    return Answer({{CL_PROGRAM_BUILD_LOG, TextBytes(Control::Get().buildLog)}}, which, size, value, sizeOut);
}

cl_int clGetProgramInfo(cl_program program, cl_program_info which, size_t size, void* value,
                        size_t* sizeOut) {
    if (const cl_int code = Record(__func__, program, which, size, value, sizeOut)) return code;
    const Object* object = Find(program);
    if (object == nullptr) return CL_INVALID_PROGRAM;
    const Bytes& binary = Control::Get().binary;
    const std::size_t needed = object->devices.size() * sizeof(std::size_t);
    if (which == CL_PROGRAM_BINARIES && value != nullptr && size >= needed) {
        auto* targets = static_cast<unsigned char**>(value);
        for (std::size_t i = 0; i < object->devices.size(); i++)
            if (targets[i] != nullptr) std::copy(binary.begin(), binary.end(), targets[i]);
        return CL_SUCCESS;
    }
    if (which != CL_PROGRAM_BINARY_SIZES) return CL_INVALID_VALUE;
    Bytes sizes;
    for (std::size_t i = 0; i < object->devices.size(); i++) {
        const Bytes one = NumberBytes<std::size_t>({binary.size()});
        sizes.insert(sizes.end(), one.begin(), one.end());
    }
    return Answer(sizes, size, value, sizeOut);
}

cl_kernel clCreateKernel(cl_program program, const char* name, cl_int* codeOut) {
    cl_int code = Record(__func__, program, name, codeOut);
    const Object* object = code == CL_SUCCESS ? Find(program) : nullptr;
    if (code == CL_SUCCESS && object == nullptr) code = CL_INVALID_PROGRAM;
    if (code == CL_SUCCESS && !object->isBuilt) code = CL_INVALID_PROGRAM_EXECUTABLE;
    if (code == CL_SUCCESS && object->text.find(name) == std::string::npos) code = CL_INVALID_KERNEL_NAME;
    return Create<cl_kernel>(code, codeOut, [&](Object& kernel) { kernel.text = name; });
}

cl_int clSetKernelArg(cl_kernel kernel, cl_uint index, size_t size, const void* value) {
    Value argument = ToValue(List(static_cast<const std::uint8_t*>(value), size));
    cl_mem memory = nullptr;
    if (value != nullptr && size == sizeof(memory)) {
        std::memcpy(&memory, value, sizeof(memory));
        if (Control::Get().FindAny(memory) != nullptr) argument = ToValue(memory);
    }
    if (const cl_int code = Record(__func__, kernel, index, size, argument)) return code;
    Object* object = Find(kernel);
    if (object == nullptr) return CL_INVALID_KERNEL;
    if (size == 0) return CL_INVALID_ARG_SIZE;
    object->arguments[index] = value != nullptr ? argument : Value(static_cast<std::uint64_t>(size));
    return CL_SUCCESS;
}

cl_int clGetKernelWorkGroupInfo(cl_kernel kernel, cl_device_id device, cl_kernel_work_group_info which,
                                size_t size, void* value, size_t* sizeOut) {
    if (const cl_int code = Record(__func__, kernel, device, which, size, value, sizeOut)) return code;
    const Object* object = Find(kernel);
    if (object == nullptr) return CL_INVALID_KERNEL;
    const Control& control = Control::Get();
    const auto named = control.namedWorkGroupInfo.find(object->text);
    const bool isNamed = named != control.namedWorkGroupInfo.end() && named->second.contains(which);
    return Answer(isNamed ? named->second : control.workGroupInfo, which, size, value, sizeOut);
}

}  // extern "C"
