#include "nuvra/opencl_interface_trace.h"

#include "nuvra/base_array.h"
#include "nuvra/opencl_interface_platform.h"

namespace nuvra {

constinit OpenGLCLVKTracerImpl* g_tracer = nullptr;

namespace {

constinit bool g_isTracerInitialized = false;

/// The zero-terminated name that `query(size, value, sizeOutput)` gives; null when its size cannot be had.
template <class Query>
const char* ReadName(BaseArray<char>& buffer, const Query& query) {
    size_t size = 0;
    if (query(0, nullptr, &size) != CL_SUCCESS) return nullptr;
    buffer.Reset();
    if (size >= PTRDIFF_MAX || !buffer.Resize(static_cast<Int>(size) + 1).IsOk()) return nullptr;
    // A runtime may fail half way and leave part of a name.
    if (query(size, buffer.GetFirst(), nullptr) != CL_SUCCESS) *buffer.GetFirst() = '\0';
    return buffer.GetFirst();
}

void TellDevices(cl_platform_id platform, BaseArray<char>& buffer) {
    cl_uint count = 0;
    if (CallUntraced<entry::clGetDeviceIDs>(platform, CL_DEVICE_TYPE_ALL, 0, nullptr, &count) != CL_SUCCESS ||
        count == 0)
        return;
    BaseArray<cl_device_id> devices;
    cl_uint found = 0;
    if (!devices.Resize(count).IsOk() ||
        CallUntraced<entry::clGetDeviceIDs>(platform, CL_DEVICE_TYPE_ALL, count, devices.GetFirst(),
                                            &found) != CL_SUCCESS ||
        found != count)
        return;
    for (const cl_device_id device : devices) {
        const char* name = ReadName(buffer, [device](size_t size, void* value, size_t* written) {
            return CallUntraced<entry::clGetDeviceInfo>(device, CL_DEVICE_NAME, size, value, written);
        });
        if (name != nullptr) TraceEvent({"OpenCLSetDeviceInfo"}, "PT", device, name);
    }
}

/// Tells the tracer every platform's and device's name. Its own OpenCL calls are not traced.
void InitializeTracer() {
    cl_uint count = 0;
    if (CallUntraced<entry::clGetPlatformIDs>(0, nullptr, &count) != CL_SUCCESS || count == 0) return;
    BaseArray<cl_platform_id> platforms;
    cl_uint found = 0;
    if (!platforms.Resize(count).IsOk() ||
        CallUntraced<entry::clGetPlatformIDs>(count, platforms.GetFirst(), &found) != CL_SUCCESS ||
        found != count)
        return;
    Table<OpenGLCLVKTracerInterface>()->Comment(
        g_tracer,
        "OpenCL tracer initialization. Make all device names known to the parser so that the correct device "
        "can be found during execution.");
    TraceEvent({"OpenCLTracerInit"}, "i", 0);
    BaseArray<char> buffer;
    for (const cl_platform_id platform : platforms) {
        const char* name = ReadName(buffer, [platform](size_t size, void* value, size_t* written) {
            return CallUntraced<entry::clGetPlatformInfo>(platform, CL_PLATFORM_NAME, size, value, written);
        });
        if (name == nullptr) continue;
        TraceEvent({"OpenCLSetPlatformInfo"}, "PT", platform, name);
        TellDevices(platform, buffer);
    }
    TraceEvent({"OpenCLTracerInit"}, "i", 1);
}

}  // namespace

cl_int GetCodeOfException() noexcept {
    constexpr cl_int kUnspecified = 3;
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return CL_OUT_OF_HOST_MEMORY;
    } catch (...) {
        return kUnspecified;
    }
}

void DropTracer() {
    OpenGLCLVKTracerRef(kAdoptCount, std::exchange(g_tracer, nullptr));
}

void ConnectTracer() {
    const auto* service = Table<OpenGLCLTrace>();
    const auto* operations = Table<OpenGLCLVKTracerInterface>();
    if (service == nullptr || operations == nullptr) return;
    DropTracer();
    Result<OpenGLCLVKTracerRef> tracer = service->GetTracer();
    if (!tracer.IsOk()) return;
    OpenGLCLVKTracerRef reference = std::move(tracer).GetValue();
    if (!reference || !operations->CheckActivation(reference.Get()).IsOk()) return;
    g_tracer = reference.Detach();
    if (!g_isOpenCLLoaded || g_isTracerInitialized) return;
    g_isTracerInitialized = true;
    InitializeTracer();
}

void TraceEvent(const TraceFrame& frame, const char* code, ...) {
    const UInt64 thread = GetThreadId();
    UInt32 scratch = 0;
    UInt32& slot = frame.resultSlot != nullptr ? *frame.resultSlot : scratch;
    slot = frame.phase;
    if (g_tracer == nullptr) return;
    const auto* operations = Table<OpenGLCLVKTracerInterface>();
    va_list values;
    va_start(values, code);
    if (frame.phase == 0)
        slot = operations->CallBegins(g_tracer, thread, frame.name, code, values);
    else
        operations->CallEnds(g_tracer, thread, frame.name, code, values);
    va_end(values);
}

void AttachTraceData(UInt32 cookie, TraceData kind, Int size, const void* data, Int index) {
    if (g_tracer == nullptr) return;
    using DataKind = OpenGLCLVKTracerInterface::DataKind;
    if (kind != TraceData::TEXT && kind != TraceData::BYTES) return;
    Table<OpenGLCLVKTracerInterface>()->AttachData(
        g_tracer, cookie, kind == TraceData::TEXT ? DataKind::TEXT : DataKind::BYTES, size, data, index);
}

bool IsTraceCapturing() {
    return g_tracer != nullptr && Table<OpenGLCLVKTracerInterface>()->IsCapturing(g_tracer);
}

}  // namespace nuvra
