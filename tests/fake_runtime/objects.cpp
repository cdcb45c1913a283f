#include "entries.h"

#include <string_view>

#include "answers.h"

using namespace nuvra::fake;

namespace {

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

/// Of pixels of four channels, other layouts not being looked at; a depth of 0 makes two dimensions.
void MakeImage(Object& image, const cl_image_format& format, std::size_t width, std::size_t height,
               std::size_t depth) {
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
}

cl_mem CreateImage(cl_int code, cl_mem_flags flags, const cl_image_format& format, std::size_t width,
                   std::size_t height, std::size_t depth, const void* host, cl_int* codeOut) {
    code = CheckMemory(code, flags, host);
    if (code == CL_SUCCESS && (width == 0 || height == 0)) code = CL_INVALID_IMAGE_SIZE;
    return Create<cl_mem>(code, codeOut,
                          [&](Object& image) { MakeImage(image, format, width, height, depth); });
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

/// Answers with the ids of all devices that can share.
cl_int CL_API_CALL GetGLContextInfo(const cl_context_properties* properties, cl_gl_context_info which,
                                    size_t size, void* value, size_t* sizeOut) {
    const cl_int code =
        Record("clGetGLContextInfoKHR", DescribeProperties(properties), which, size, value, sizeOut);
    if (code != CL_SUCCESS) return code;
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

#define INFO_FUNCTION(name, Handle)                                                        \
    cl_int name(Handle handle, cl_uint which, size_t size, void* value, size_t* sizeOut) { \
        return AnswerAbout(#name, which, size, value, sizeOut, handle);                    \
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

cl_int clGetImageInfo(cl_mem memory, cl_image_info which, size_t size, void* value, size_t* sizeOut) {
    const cl_int code = AnswerAbout(__func__, which, size, value, sizeOut, memory);
    // Real runtimes answer image queries for buffers, too, with whatever stands there.
    const bool isStrange = code == CL_INVALID_VALUE && !Get(memory).isImage;
    return isStrange ? Answer(NumberBytes<std::size_t>({7}), size, value, sizeOut) : code;
}

cl_program clCreateProgramWithSource(cl_context context, cl_uint count, const char** strings,
                                     const size_t* lengths, cl_int* codeOut) {
    std::string source;
    bool isComplete = count > 0;
    for (cl_uint i = 0; strings != nullptr && i < count; i++) {
        isComplete = isComplete && strings[i] != nullptr;
        if (isComplete)
            source += lengths != nullptr && lengths[i] > 0 ? std::string(strings[i], lengths[i]) : strings[i];
    }
    const cl_int code =
        Record(__func__, context, count, strings != nullptr ? Value(source) : ToValue(strings),
               List(lengths, count), codeOut);
    return CreateProgram(code == CL_SUCCESS && !isComplete ? CL_INVALID_VALUE : code, context, codeOut,
                         source, false);
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

cl_int clGetProgramBuildInfo(cl_program program, cl_device_id device, cl_program_build_info which,
                             size_t size, void* value, size_t* sizeOut) {
    if (Object* object = Control::Get().Find(program))
        object->info[CL_PROGRAM_BUILD_LOG] = TextBytes(Control::Get().buildLog);
    return AnswerAbout(__func__, which, size, value, sizeOut, program, device);
}

cl_int clGetProgramInfo(cl_program program, cl_program_info which, size_t size, void* value,
                        size_t* sizeOut) {
    if (const cl_int code = Record(__func__, program, which, size, value, sizeOut)) return code;
    const Bytes& binary = Control::Get().binary;
    const std::vector<std::size_t> sizes(Get(program).devices.size(), binary.size());
    if (which == CL_PROGRAM_BINARIES && value != nullptr && size >= sizes.size() * sizeof(binary.data())) {
        auto* targets = static_cast<unsigned char**>(value);
        for (std::size_t i = 0; i < sizes.size(); i++)
            if (targets[i] != nullptr) std::ranges::copy(binary, targets[i]);
        return CL_SUCCESS;
    }
    return which == CL_PROGRAM_BINARY_SIZES ? Answer(NumberBytes(sizes), size, value, sizeOut)
                                            : CL_INVALID_VALUE;
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

cl_int clGetKernelWorkGroupInfo(cl_kernel kernel, cl_device_id device, cl_kernel_work_group_info which,
                                size_t size, void* value, size_t* sizeOut) {
    return AnswerAbout(__func__, which, size, value, sizeOut, kernel, device);
}

}  // extern "C"
