#include "opencl_context.h"

#include <CL/cl_gl.h>

#include "module_records.h"
#include "opencl_commandqueue.h"
#include "opencl_device.h"
#include "opencl_flags.h"
#include "opencl_memoryobject.h"
#include "opencl_program.h"
#include "opencl_text.h"

namespace nuvra {

namespace {

void CL_CALLBACK IgnoreNotification(const char*, const void*, size_t, void*) {}

constexpr UInt32 kGLTexture2D = 0x0DE1;

}  // namespace

Result<OpenCLContextRef> OpenCLContextImpl::Create(const BaseArray<cl_device_id>& contextDevices) {
    const auto context = NewObject<OpenCLContextRef>();
    if (!context) return OutOfMemoryError();
    NUVRA_RETURN_IF_ERROR(context.Get()->devices.CopyFrom(contextDevices));
    return context;
}

Result<void> OpenCLContextImpl::Open(const cl_context_properties* properties) {
    cl_int error = CL_SUCCESS;
    OwnedContext context(Call<entry::clCreateContext>(
        Created{&error}, properties, static_cast<cl_uint>(devices.GetCount()),
        devices.IsEmpty() ? nullptr : devices.GetFirst(), IgnoreNotification, this, &error));
    if (!context || error != CL_SUCCESS) return OpenCLError(error);
    handle = std::move(context);
    for (; *properties != 0; properties += 2) isSharing = isSharing || *properties == CL_GL_CONTEXT_KHR;
    return {};
}

namespace {

using Context = OpenCLContextImpl;

/// Lets the tasks free their resources before the context goes.
void Destroy(Context* context) noexcept {
    // First: a weak reference must not revive the context while the tasks hold counted references to it.
    ClearWeakReferences(*context);
    context->count.fetch_add(1, std::memory_order_relaxed);
    context->tasks.ForEach(
        [context](auto& entry) { static_cast<void>(entry.value.FreeResources(OpenCLContextRef(context))); });
    if (context->handle) static_cast<void>(context->handle.Release());
    context->count.fetch_sub(1, std::memory_order_relaxed);
    DeleteObject(context);
}

const BaseArray<cl_device_id>& GetDevices(const Context* context) noexcept {
    return context->devices;
}

Result<void> GetSupportedImageFormats(Context* context, UInt32 flags, OpenCLImageType type,
                                      BaseArray<OpenCLImageFormat>& formats) noexcept {
    formats.Reset();
    const cl_mem_flags memoryFlags = ToOpenCLMemoryFlags(flags);
    const cl_mem_object_type objectType = ToOpenCLImageType(type);
    cl_uint count = 0;
    const auto query = [&](BaseArray<cl_image_format>& found, cl_uint& foundCount) {
        return CheckCode(CallUntraced<entry::clGetSupportedImageFormats>(
            context->handle.Get(), memoryFlags, objectType, static_cast<cl_uint>(found.GetCount()),
            found.GetFirst(), &foundCount));
    };
    BaseArray<cl_image_format> found;
    NUVRA_RETURN_IF_ERROR(query(found, count));
    NUVRA_RETURN_IF_ERROR(CheckCount(count));
    NUVRA_RETURN_IF_ERROR(found.Resize(count));
    cl_uint foundCount = 0;
    NUVRA_RETURN_IF_ERROR(query(found, foundCount));
    if (foundCount != count) return OpenCLError(OpenCLErrorCode::UNSPECIFIED);
    NUVRA_RETURN_IF_ERROR(formats.Resize(count));
    for (Int i = 0; i < found.GetCount(); i++) formats[i] = FromOpenCL(found[i]);
    return {};
}

Result<OpenCLCommandQueueRef> CreateCommandQueue(Context* context, UInt32 flags) noexcept {
    if (context->devices.IsEmpty()) return OpenCLError(CL_DEVICE_NOT_FOUND);
    cl_int error = CL_SUCCESS;
    OwnedCommandQueue handle(Call<entry::clCreateCommandQueue>(
        Created{&error}, context->handle.Get(), context->devices[0], ToOpenCLQueueFlags(flags), &error));
    if (!handle) return OpenCLError(error);
    constexpr size_t kVersionSize = 100;
    char version[kVersionSize + 1] = {};
    if (Call<entry::clGetDeviceInfo>(ResultCode(), context->devices[0], CL_DEVICE_OPENCL_C_VERSION,
                                     kVersionSize, version, nullptr) != CL_SUCCESS)
        version[0] = '\0';
    NUVRA_ASSIGN_OR_RETURN(const Int64 number, ParseVersion(version, "OpenCL C "));
    return Wrap<OpenCLCommandQueueRef>(std::move(handle), error,
                                       QueueOrigin{number, flags, context->isSharing});
}

Result<OpenCLMemoryObjectRef> CreateBuffer(Context* context, UInt32 flags, UInt64 size,
                                           void* hostPointer) noexcept {
    cl_int error = CL_SUCCESS;
    const auto attach = [&](UInt32 cookie) {
        if (hostPointer != nullptr &&
            (flags & (OpenCLMemoryFlags::COPY_HOST_PTR | OpenCLMemoryFlags::USE_HOST_PTR)) != 0)
            AttachTraceData(cookie, TraceData::BYTES, static_cast<Int>(size), hostPointer, -1);
    };
    OwnedMemoryObject memory(
        CallAttaching<entry::clCreateBuffer>(attach, Created{&error}, context->handle.Get(),
                                             ToOpenCLMemoryFlags(flags), size, hostPointer, &error));
    return Wrap<OpenCLMemoryObjectRef>(std::move(memory), error,
                                       MemoryOrigin{MemoryOrigin::Kind::BUFFER, context->handle.Get(), size});
}

Result<OpenCLMemoryObjectRef> CreateFromGLTexture2D(Context* context, UInt32 access, UInt32 target,
                                                    Int32 mipLevel, UInt32 texture) noexcept {
    const cl_mem_flags flags = ToOpenCLAccess(access);
    if (flags == 0 || target != kGLTexture2D) return OpenCLError(CL_INVALID_VALUE);
    if (!context->isSharing) return OpenCLError(CL_INVALID_CONTEXT);
    cl_int error = CL_SUCCESS;
    OwnedMemoryObject memory(Call<entry::clCreateFromGLTexture2D>(Created{&error}, context->handle.Get(),
                                                                  flags, target, mipLevel, texture, &error));
    return Wrap<OpenCLMemoryObjectRef>(std::move(memory), error,
                                       MemoryOrigin{MemoryOrigin::Kind::IMAGE_2D, context->handle.Get()});
}

Result<OpenCLMemoryObjectRef> CreateFromGLBuffer(Context* context, UInt32 access, UInt32 buffer) noexcept {
    const cl_mem_flags flags = ToOpenCLAccess(access);
    if (flags == 0) return OpenCLError(CL_INVALID_VALUE);
    if (!context->isSharing) return OpenCLError(CL_INVALID_CONTEXT);
    cl_int error = CL_SUCCESS;
    OwnedMemoryObject memory(
        Call<entry::clCreateFromGLBuffer>(Created{&error}, context->handle.Get(), flags, buffer, &error));
    return Wrap<OpenCLMemoryObjectRef>(std::move(memory), error,
                                       MemoryOrigin{MemoryOrigin::Kind::BUFFER, context->handle.Get()});
}

Result<OpenCLMemoryObjectRef> CreateImage2D(Context* context, UInt32 flags, const OpenCLImageFormat& format,
                                            UInt64 width, UInt64 height, UInt64 rowPitch,
                                            void* hostPointer) noexcept {
    const cl_image_format imageFormat = ToOpenCL(format);
    cl_int error = CL_SUCCESS;
    OwnedMemoryObject memory(Call<entry::clCreateImage2D>(
        Created{&error}, context->handle.Get(), ToOpenCLMemoryFlags(flags & kAccessFlags), &imageFormat,
        width, height, rowPitch, hostPointer, &error));
    return Wrap<OpenCLMemoryObjectRef>(
        std::move(memory), error,
        MemoryOrigin{MemoryOrigin::Kind::IMAGE_2D, context->handle.Get(), 0, width, height});
}

Result<OpenCLMemoryObjectRef> CreateImage3D(Context* context, UInt32 flags, const OpenCLImageFormat& format,
                                            UInt64 width, UInt64 height, UInt64 depth, UInt64 rowPitch,
                                            UInt64 slicePitch, void* hostPointer) noexcept {
    const cl_image_format imageFormat = ToOpenCL(format);
    cl_int error = CL_SUCCESS;
    OwnedMemoryObject memory(Call<entry::clCreateImage3D>(
        Created{&error}, context->handle.Get(), ToOpenCLMemoryFlags(flags & kAccessFlags), &imageFormat,
        width, height, depth, rowPitch, slicePitch, hostPointer, &error));
    return Wrap<OpenCLMemoryObjectRef>(
        std::move(memory), error,
        MemoryOrigin{MemoryOrigin::Kind::IMAGE_3D, context->handle.Get(), 0, width, height});
}

Result<OpenCLProgramRef> CreateProgramWithSource(Context* context, UInt32 count, const char* const* strings,
                                                 const size_t* lengths) noexcept {
    if (strings == nullptr && count > 0) return OpenCLError(CL_INVALID_VALUE);
    cl_int error = CL_SUCCESS;
    const auto attach = [&](UInt32 cookie) {
        for (UInt32 i = 0; i < count; i++) {
            if (strings[i] == nullptr) continue;  // the runtime refuses it
            AttachTraceData(cookie, TraceData::TEXT, lengths == nullptr ? 0 : static_cast<Int>(lengths[i]),
                            strings[i], i);
        }
    };
    OwnedProgram program(
        CallAttaching<entry::clCreateProgramWithSource>(attach, Created{&error}, context->handle.Get(), count,
                                                        const_cast<const char**>(strings), lengths, &error));
    return Wrap<OpenCLProgramRef>(std::move(program), error, OpenCLProgramImpl::Origin::SOURCE);
}

Result<OpenCLProgramRef> CreateProgramWithBinary(Context* context, OpenCLDeviceRef device,
                                                 const BaseArray<UChar>& binary) noexcept {
    NUVRA_ASSIGN_OR_RETURN(const cl_device_id deviceId, GetDeviceId(device));
    const auto length = static_cast<size_t>(binary.GetCount());
    const UChar* bytes = binary.IsEmpty() ? nullptr : binary.GetFirst();
    cl_int binaryStatus = CL_SUCCESS;
    cl_int error = CL_SUCCESS;
    OwnedProgram program(Call<entry::clCreateProgramWithBinary>(
        Created{&error}, context->handle.Get(), 1, &deviceId, &length, &bytes, &binaryStatus, &error));
    return Wrap<OpenCLProgramRef>(std::move(program), error, OpenCLProgramImpl::Origin::BINARY);
}

Result<OpenCLTaskRef> CreateTask(Context* context, const String& name) noexcept {
    NUVRA_ASSIGN_OR_RETURN(const CString key, CString::FromText(name.GetView()));
    const Class* taskClass = Registry::FindClass(kOpenCLTaskClasses, Id(key.GetChars()));
    if (taskClass == nullptr) return NullPointerError();
    NUVRA_ASSIGN_OR_RETURN(const AnyRef object, Table<ObjectInterface>()->Create(taskClass));
    const OpenCLTaskRef task(object);
    const OpenCLContextRef reference(context);
    Result<void> initialized = task.Init(reference);
    if (initialized.IsOk()) return task;
    static_cast<void>(task.FreeResources(reference));
    return initialized.GetError();
}

Result<OpenCLTaskRef> GetTask(Context* context, const String& name) noexcept {
    NUVRA_ASSIGN_OR_RETURN(const auto insertion, context->tasks.FindOrInsert(name));
    if (!insertion.isNew) return insertion.entry->value;
    Result<OpenCLTaskRef> task = CreateTask(context, name);
    // No entry after a failure: the next request tries again.
    if (task.IsOk())
        insertion.entry->value = task.GetValue();
    else
        context->tasks.Erase(insertion.entry);
    return task;
}

constexpr OpenCLContextInterface::Operations kOperations{
    .Destroy = Destroy,
    .GetDevices = GetDevices,
    .GetSupportedImageFormats = GetSupportedImageFormats,
    .CreateCommandQueue = CreateCommandQueue,
    .CreateBuffer = CreateBuffer,
    .CreateFromGLTexture2D = CreateFromGLTexture2D,
    .CreateFromGLBuffer = CreateFromGLBuffer,
    .CreateImage2D = CreateImage2D,
    .CreateImage3D = CreateImage3D,
    .CreateProgramWithSource = CreateProgramWithSource,
    .CreateProgramWithBinary = CreateProgramWithBinary,
    .GetTask = GetTask,
};
constinit InterfaceRecord g_implementation = ImplementInterface<OpenCLContextInterface>(
    "nuvra.OpenCLContextInterface", "OpenCLContextImpl", kOperations);
SourceUnit g_unit{g_openCLModule, "opencl_context", {&g_implementation}};

}  // namespace

}  // namespace nuvra
