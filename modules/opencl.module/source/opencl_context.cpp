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

Result<OpenCLContextRef> OpenCLContextImpl::Create(const BaseArray<cl_device_id>& devices) {
    const OpenCLContextRef context(NewObject<OpenCLContextImpl>());
    if (!context) return OutOfMemoryError();
    NUVRA_RETURN_IF_ERROR(context.Get()->_devices.CopyFrom(devices));
    return context;
}

Result<void> OpenCLContextImpl::Open(const cl_context_properties* properties) {
    cl_int error = CL_SUCCESS;
    OwnedContext context(Call<entry::clCreateContext>(
        Created{&error}, properties, static_cast<cl_uint>(_devices.GetCount()),
        _devices.IsEmpty() ? nullptr : _devices.GetFirst(), IgnoreNotification, this, &error));
    if (!context || error != CL_SUCCESS) return OpenCLError(error);
    _handle = std::move(context);
    for (; *properties != 0; properties += 2) _isSharing = _isSharing || *properties == CL_GL_CONTEXT_KHR;
    return {};
}

void OpenCLContextImpl::Destroy(OpenCLContextImpl* context) noexcept {
    // First, so that no weak reference brings the context back while the references below are counted.
    ClearWeakReferences(*context);
    context->count.fetch_add(1, std::memory_order_relaxed);
    context->_tasks.ForEach(
        [context](auto& entry) { static_cast<void>(entry.value.FreeResources(OpenCLContextRef(context))); });
    if (context->_handle) static_cast<void>(context->_handle.Release());
    context->count.fetch_sub(1, std::memory_order_relaxed);
    DeleteObject(context);
}

Result<void> OpenCLContextImpl::GetSupportedImageFormats(UInt32 flags, OpenCLImageType type,
                                                         BaseArray<OpenCLImageFormat>& formats) {
    formats.Reset();
    const cl_mem_flags memoryFlags = ToOpenCLMemoryFlags(flags);
    const cl_mem_object_type objectType = ToOpenCLImageType(type);
    cl_uint count = 0;
    const auto query = [&](BaseArray<cl_image_format>& found, cl_uint& foundCount) {
        return CheckCode(CallUntraced<entry::clGetSupportedImageFormats>(
            _handle.Get(), memoryFlags, objectType, static_cast<cl_uint>(found.GetCount()), found.GetFirst(),
            &foundCount));
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

Result<OpenCLCommandQueueRef> OpenCLContextImpl::CreateCommandQueue(UInt32 flags) {
    if (_devices.IsEmpty()) return OpenCLError(CL_DEVICE_NOT_FOUND);
    cl_int error = CL_SUCCESS;
    OwnedCommandQueue handle(Call<entry::clCreateCommandQueue>(Created{&error}, _handle.Get(), _devices[0],
                                                               ToOpenCLQueueFlags(flags), &error));
    if (!handle) return OpenCLError(error);
    constexpr size_t kVersionSize = 100;
    char version[kVersionSize + 1] = {};
    if (Call<entry::clGetDeviceInfo>(ResultCode(), _devices[0], CL_DEVICE_OPENCL_C_VERSION, kVersionSize,
                                     version, nullptr) != CL_SUCCESS)
        version[0] = '\0';
    NUVRA_ASSIGN_OR_RETURN(const Int64 number, ParseVersion(version, "OpenCL C "));
    return Wrap<OpenCLCommandQueueRef>(std::move(handle), error, QueueOrigin{number, flags, _isSharing});
}

Result<OpenCLMemoryObjectRef> OpenCLContextImpl::CreateBuffer(UInt32 flags, UInt64 size, void* hostPointer) {
    cl_int error = CL_SUCCESS;
    const auto attach = [&](UInt32 cookie) {
        if (hostPointer != nullptr &&
            (flags & (OpenCLMemoryFlags::COPY_HOST_PTR | OpenCLMemoryFlags::USE_HOST_PTR)) != 0)
            AttachTraceData(cookie, TraceData::BYTES, static_cast<Int>(size), hostPointer, -1);
    };
    OwnedMemoryObject memory(CallAttaching<entry::clCreateBuffer>(
        attach, Created{&error}, _handle.Get(), ToOpenCLMemoryFlags(flags), size, hostPointer, &error));
    return Wrap<OpenCLMemoryObjectRef>(std::move(memory), error,
                                       MemoryOrigin{MemoryOrigin::Kind::BUFFER, _handle.Get(), size});
}

Result<OpenCLMemoryObjectRef> OpenCLContextImpl::CreateFromGLTexture2D(UInt32 access, UInt32 target,
                                                                       Int32 mipLevel, UInt32 texture) {
    const cl_mem_flags flags = ToOpenCLAccess(access);
    if (flags == 0 || target != kGLTexture2D) return OpenCLError(CL_INVALID_VALUE);
    if (!_isSharing) return OpenCLError(CL_INVALID_CONTEXT);
    cl_int error = CL_SUCCESS;
    OwnedMemoryObject memory(Call<entry::clCreateFromGLTexture2D>(Created{&error}, _handle.Get(), flags,
                                                                  target, mipLevel, texture, &error));
    return Wrap<OpenCLMemoryObjectRef>(std::move(memory), error,
                                       MemoryOrigin{MemoryOrigin::Kind::IMAGE_2D, _handle.Get()});
}

Result<OpenCLMemoryObjectRef> OpenCLContextImpl::CreateFromGLBuffer(UInt32 access, UInt32 buffer) {
    const cl_mem_flags flags = ToOpenCLAccess(access);
    if (flags == 0) return OpenCLError(CL_INVALID_VALUE);
    if (!_isSharing) return OpenCLError(CL_INVALID_CONTEXT);
    cl_int error = CL_SUCCESS;
    OwnedMemoryObject memory(
        Call<entry::clCreateFromGLBuffer>(Created{&error}, _handle.Get(), flags, buffer, &error));
    return Wrap<OpenCLMemoryObjectRef>(std::move(memory), error,
                                       MemoryOrigin{MemoryOrigin::Kind::BUFFER, _handle.Get()});
}

Result<OpenCLMemoryObjectRef> OpenCLContextImpl::CreateImage2D(UInt32 flags, const OpenCLImageFormat& format,
                                                               UInt64 width, UInt64 height, UInt64 rowPitch,
                                                               void* hostPointer) {
    const cl_image_format imageFormat = ToOpenCL(format);
    cl_int error = CL_SUCCESS;
    OwnedMemoryObject memory(Call<entry::clCreateImage2D>(
        Created{&error}, _handle.Get(), ToOpenCLMemoryFlags(flags & kAccessFlags), &imageFormat, width,
        height, rowPitch, hostPointer, &error));
    return Wrap<OpenCLMemoryObjectRef>(
        std::move(memory), error,
        MemoryOrigin{MemoryOrigin::Kind::IMAGE_2D, _handle.Get(), 0, width, height});
}

Result<OpenCLMemoryObjectRef> OpenCLContextImpl::CreateImage3D(UInt32 flags, const OpenCLImageFormat& format,
                                                               UInt64 width, UInt64 height, UInt64 depth,
                                                               UInt64 rowPitch, UInt64 slicePitch,
                                                               void* hostPointer) {
    const cl_image_format imageFormat = ToOpenCL(format);
    cl_int error = CL_SUCCESS;
    OwnedMemoryObject memory(Call<entry::clCreateImage3D>(
        Created{&error}, _handle.Get(), ToOpenCLMemoryFlags(flags & kAccessFlags), &imageFormat, width,
        height, depth, rowPitch, slicePitch, hostPointer, &error));
    return Wrap<OpenCLMemoryObjectRef>(
        std::move(memory), error,
        MemoryOrigin{MemoryOrigin::Kind::IMAGE_3D, _handle.Get(), 0, width, height});
}

Result<OpenCLProgramRef> OpenCLContextImpl::CreateProgramWithSource(UInt32 count, const char* const* strings,
                                                                    const size_t* lengths) {
    if (strings == nullptr && count > 0) return OpenCLError(CL_INVALID_VALUE);
    cl_int error = CL_SUCCESS;
    const auto attach = [&](UInt32 cookie) {
        for (UInt32 i = 0; i < count; i++) {
            if (strings[i] == nullptr) continue;  // which the runtime refuses
            AttachTraceData(cookie, TraceData::TEXT, lengths == nullptr ? 0 : static_cast<Int>(lengths[i]),
                            strings[i], i);
        }
    };
    OwnedProgram program(CallAttaching<entry::clCreateProgramWithSource>(
        attach, Created{&error}, _handle.Get(), count, const_cast<const char**>(strings), lengths, &error));
    return Wrap<OpenCLProgramRef>(std::move(program), error, OpenCLProgramImpl::Origin::SOURCE);
}

Result<OpenCLProgramRef> OpenCLContextImpl::CreateProgramWithBinary(OpenCLDeviceRef device,
                                                                    const BaseArray<UChar>& binary) {
    NUVRA_ASSIGN_OR_RETURN(const cl_device_id deviceId, GetDeviceId(device));
    const auto length = static_cast<size_t>(binary.GetCount());
    const UChar* bytes = binary.IsEmpty() ? nullptr : binary.GetFirst();
    cl_int binaryStatus = CL_SUCCESS;
    cl_int error = CL_SUCCESS;
    OwnedProgram program(Call<entry::clCreateProgramWithBinary>(Created{&error}, _handle.Get(), 1, &deviceId,
                                                                &length, &bytes, &binaryStatus, &error));
    return Wrap<OpenCLProgramRef>(std::move(program), error, OpenCLProgramImpl::Origin::BINARY);
}

Result<OpenCLTaskRef> OpenCLContextImpl::GetTask(const String& name) {
    NUVRA_ASSIGN_OR_RETURN(const auto insertion, _tasks.FindOrInsert(name));
    if (!insertion.isNew) return insertion.entry->value;
    Result<OpenCLTaskRef> task = CreateTask(name);
    // A failure leaves no entry, so that the next request tries again.
    if (task.IsOk())
        insertion.entry->value = task.GetValue();
    else
        _tasks.Erase(insertion.entry);
    return task;
}

Result<OpenCLTaskRef> OpenCLContextImpl::CreateTask(const String& name) {
    NUVRA_ASSIGN_OR_RETURN(const CString key, CString::FromText(name.GetView()));
    const Class* taskClass = Registry::FindClass(kOpenCLTaskClasses, Id(key.GetChars()));
    if (taskClass == nullptr) return NullPointerError();
    NUVRA_ASSIGN_OR_RETURN(const AnyRef object, Table<ObjectInterface>()->Create(taskClass));
    const OpenCLTaskRef task(object);
    const OpenCLContextRef context(this);
    Result<void> initialized = task.Init(context);
    if (initialized.IsOk()) return task;
    static_cast<void>(task.FreeResources(context));
    return initialized.GetError();
}

namespace {

constexpr OpenCLContextInterface::Operations kOperations{
    OpenCLContextImpl::Destroy,
    kOperation<&OpenCLContextImpl::GetDevices>,
    kOperation<&OpenCLContextImpl::GetSupportedImageFormats>,
    kOperation<&OpenCLContextImpl::CreateCommandQueue>,
    kOperation<&OpenCLContextImpl::CreateBuffer>,
    kOperation<&OpenCLContextImpl::CreateFromGLTexture2D>,
    kOperation<&OpenCLContextImpl::CreateFromGLBuffer>,
    kOperation<&OpenCLContextImpl::CreateImage2D>,
    kOperation<&OpenCLContextImpl::CreateImage3D>,
    kOperation<&OpenCLContextImpl::CreateProgramWithSource>,
    kOperation<&OpenCLContextImpl::CreateProgramWithBinary>,
    kOperation<&OpenCLContextImpl::GetTask>,
};
constinit InterfaceRecord g_implementation = ImplementInterface<OpenCLContextInterface>(
    "nuvra.OpenCLContextInterface", "OpenCLContextImpl", kOperations);
SourceUnit g_unit{g_openCLModule, "opencl_context", {&g_implementation}};

}  // namespace

}  // namespace nuvra
