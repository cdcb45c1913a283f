#include "task/task_base.h"

#include "nuvra/diagnostic.h"
#include "nuvra/open_cl.h"
#include "opencl_commandqueue.h"
#include "opencl_device.h"

namespace nuvra {

namespace {

/// The device's name for people.
String GetDeviceName(cl_device_id id) {
    const Result<OpenCLDeviceRef> device = OpenCL::GetDeviceFromId(id);
    const Result<Data> name = device.GetValue().GetInfo(OpenCLDeviceInfo::NAME);
    const String* text = name.GetValue().Find<String>();
    return text != nullptr ? *text : String::FromCText("unknown device").GetValue();
}

}  // namespace

void OpenCLTaskBase::Begin(const OpenCLContextRef& context) {
    _isInitialized = false;
    _context = context ? context.Get()->handle.Get() : nullptr;
    ReleaseCachedBuffers();
}

Data OpenCLTaskBase::QueryParameter(Int64, const Data&) {
    return Data();
}

Result<OpenCLMemoryObjectRef> OpenCLTaskBase::GetCachedBuffer(const OpenCLContextRef& context, Int size,
                                                              Int index, void* hostData) {
    if (index < 0 || index == INT64_MAX) return OpenCLError(CL_INVALID_VALUE);
    if (!context) return NullPointerError();
    if (context.Get()->handle.Get() != _context) return OpenCLError(CL_INVALID_CONTEXT);
    if (index >= _cachedBuffers.GetCount()) NUVRA_RETURN_IF_ERROR(_cachedBuffers.Resize(index + 1));
    CachedBuffer& cached = _cachedBuffers[index];
    if (size <= cached.capacity) return cached.buffer;
    if (cached.buffer) {
        static_cast<void>(cached.buffer.Release());
        cached = CachedBuffer();
    }
    const UInt32 flags =
        OpenCLMemoryFlags::READ_WRITE | (hostData != nullptr ? OpenCLMemoryFlags::COPY_HOST_PTR : 0U);
    NUVRA_ASSIGN_OR_RETURN(cached.buffer, context.CreateBuffer(flags, static_cast<UInt64>(size), hostData));
    cached.capacity = size;
    return cached.buffer;
}

void OpenCLTaskBase::ReleaseCachedBuffers() {
    for (const CachedBuffer& cached : _cachedBuffers)
        if (cached.buffer) static_cast<void>(cached.buffer.Release());
    _cachedBuffers.Reset();
}

Result<void> OpenCLTaskBase::TakeTurn(const OpenCLCommandQueueRef& queue) {
    if (!queue) return NullPointerError();
    const OpenCLCommandQueueRef latest = std::exchange(_latestQueue, queue);
    if (!latest || (latest == queue && !queue.Get()->IsOutOfOrder())) return {};
    if (!latest.Finish().IsOk()) ReleaseCachedBuffers();
    return {};
}

Result<OpenCLMemoryObjectRef> OpenCLTaskBase::Turn::GetBuffer(Int size, Int index) {
    if (!_isTaken) NUVRA_RETURN_IF_ERROR(_task.TakeTurn(_queue));
    _isTaken = true;
    return _task.GetCachedBuffer(_context, size, index);
}

Result<void> OpenCLTaskBase::KeepOrder(const OpenCLCommandQueueRef& queue) {
    if (!queue || !queue.Get()->IsOutOfOrder()) return {};
    return queue.Finish();
}

bool OpenCLTaskBase::AreProcessors(const OpenCLContextRef& context) {
    const BaseArray<cl_device_id>& devices = context.GetDevices();
    return std::all_of(devices.begin(), devices.end(), [](cl_device_id device) {
        cl_device_type type = 0;
        return GetDeviceInfo(device, CL_DEVICE_TYPE, sizeof(type), &type, nullptr) == CL_SUCCESS &&
               (type & CL_DEVICE_TYPE_CPU) != 0;
    });
}

Result<void> OpenCLTaskBase::CompileProgram(const OpenCLContextRef& context, const char* source,
                                            const char* options, OpenCLProgramRef& program) {
    program = nullptr;
    NUVRA_ASSIGN_OR_RETURN(program, context.CreateProgramWithSource(1, &source));
    return program.Build(context.GetDevices(), options);
}

void OpenCLTaskBase::WriteBuildLogs(const OpenCLContextRef& context, const char* taskName,
                                    const OpenCLProgramRef& program) {
    if (!program) return;
    for (const cl_device_id device : context.GetDevices()) {
        const Result<String> log = program.GetBuildLog(device);
        Diagnostic::Write("cannot build the task \"@\" on \"@\":\n@",
                          {taskName, GetDeviceName(device).GetView(), log.GetValue().GetView()});
    }
}

Result<void> OpenCLTaskBase::BuildProgram(const OpenCLContextRef& context, const char* taskName,
                                          const char* source, const char* options,
                                          OpenCLProgramRef& program) {
    Result<void> built = CompileProgram(context, source, options, program);
    if (!built.IsOk()) WriteBuildLogs(context, taskName, program);
    return built;
}

Result<void> OpenCLTaskBase::CreateKernels(const OpenCLProgramRef& program,
                                           std::initializer_list<NamedKernel> kernels) {
    for (const NamedKernel& named : kernels) {
        NUVRA_ASSIGN_OR_RETURN(*named.kernel, program.CreateKernel(named.name));
    }
    return {};
}

Result<void> OpenCLTaskBase::ReleaseAll(std::initializer_list<OpenCLKernelRef*> kernels,
                                        const OpenCLProgramRef& program) {
    for (const OpenCLKernelRef* kernel : kernels)
        if (*kernel) static_cast<void>(kernel->Release());
    if (program) static_cast<void>(program.Release());
    _isInitialized = false;
    _latestQueue = nullptr;
    ReleaseCachedBuffers();
    return {};
}

Result<void> OpenCLOneKernelTask::MakeKernel(const OpenCLContextRef& context, const char* taskName,
                                             const char* source, const char* kernelName) {
    NUVRA_RETURN_IF_ERROR(BuildProgram(context, taskName, source, kRelaxedMath, _program));
    return CreateKernels(_program, {{kernelName, &_kernel}});
}

Result<void> OpenCLOneKernelTask::FreeResources(const OpenCLContextRef&) {
    return ReleaseAll({&_kernel}, _program);
}

Result<void> OpenCLTaskBase::CheckMemory(const OpenCLMemoryObjectRef* memory, MemoryOrigin::Kind kind) const {
    if (memory == nullptr) return OpenCLError(CL_INVALID_VALUE);
    if (!*memory || !memory->Get()->handle || memory->Get()->origin.kind != kind)
        return OpenCLError(CL_INVALID_MEM_OBJECT);
    if (memory->Get()->origin.context != _context) return OpenCLError(CL_INVALID_CONTEXT);
    return {};
}

Result<void> OpenCLTaskBase::CheckBuffer(const OpenCLMemoryObjectRef* buffer, Int64 size) const {
    NUVRA_RETURN_IF_ERROR(CheckMemory(buffer, MemoryOrigin::Kind::BUFFER));
    if (size > 0 && static_cast<UInt64>(size) > buffer->Get()->GetByteCount())
        return OpenCLError(CL_INVALID_BUFFER_SIZE);
    return {};
}

Result<ImageSize> OpenCLTaskBase::CheckImage(const OpenCLMemoryObjectRef* image) const {
    NUVRA_RETURN_IF_ERROR(CheckMemory(image, MemoryOrigin::Kind::IMAGE_2D));
    const MemoryOrigin& origin = image->Get()->origin;
    if (origin.width > 0)
        return ImageSize{static_cast<Int64>(origin.width), static_cast<Int64>(origin.height)};
    const Data width = image->GetImageInfo(OpenCLImageInfo::WIDTH);
    const Data height = image->GetImageInfo(OpenCLImageInfo::HEIGHT);
    const Int64* widthValue = width.Find<Int64>();
    const Int64* heightValue = height.Find<Int64>();
    if (widthValue == nullptr || heightValue == nullptr) return OpenCLError(CL_INVALID_MEM_OBJECT);
    return ImageSize{*widthValue, *heightValue};
}

}  // namespace nuvra
