#include "recording.h"

#include <stdexcept>
#include <string_view>

#include "framework.h"
#include "nuvra/opengl_cl_trace.h"

namespace nuvra {

/// The tracer object of the interface. It has no state: events go to the current recording.
class OpenGLCLVKTracerImpl : public ObjectHeader {};

}  // namespace nuvra

namespace nuvra::bench {
namespace {

Recording* g_recording = nullptr;

const size_t* DataOf(const std::vector<size_t>& sizes) {
    return sizes.empty() ? nullptr : sizes.data();
}

}  // namespace

class Recorder {
public:
    static void Take(std::string_view name, va_list values) {
        if (g_recording == nullptr) return;
        if (name.ends_with("::clSetKernelArg")) g_recording->_calls.emplace_back(ReadArgument(values));
        if (name.ends_with("::clEnqueueNDRangeKernel")) {
            const Recording::Launch launch = ReadLaunch(values);
            g_recording->_queue = launch.queue;
            g_recording->_calls.emplace_back(launch);
        }
    }

private:
    static Recording::Argument ReadArgument(va_list values) {
        Recording::Argument argument;
        argument.kernel = va_arg(values, cl_kernel);
        argument.index = va_arg(values, cl_uint);
        argument.size = va_arg(values, size_t);
        static_cast<void>(va_arg(values, const char*));  // the type's name
        static_cast<void>(va_arg(values, int));          // the number of elements
        const auto* bytes = va_arg(values, const unsigned char*);
        if (bytes != nullptr) argument.value.assign(bytes, bytes + argument.size);
        return argument;
    }

    static Recording::Launch ReadLaunch(va_list values) {
        Recording::Launch launch;
        launch.queue = va_arg(values, cl_command_queue);
        launch.kernel = va_arg(values, cl_kernel);
        static_cast<void>(va_arg(values, cl_uint));  // work_dim, which the sizes repeat
        for (std::vector<size_t>* sizes : {&launch.offset, &launch.globalSize, &launch.localSize}) {
            const int count = va_arg(values, int);
            const auto* array = va_arg(values, const size_t*);
            if (count > 0) sizes->assign(array, array + count);
        }
        return launch;
    }
};

namespace {

constexpr OpenGLCLVKTracerInterface::Operations kTracerOperations{
    DeleteObject<OpenGLCLVKTracerImpl>,
    [](OpenGLCLVKTracerImpl*) { return Result<void>(); },
    [](OpenGLCLVKTracerImpl*) { return false; },
    [](OpenGLCLVKTracerImpl*, const char*) {},
    [](OpenGLCLVKTracerImpl*, UInt64, const char* name, const char*, va_list values) {
        Recorder::Take(name, values);
        return UInt32{0};
    },
    [](OpenGLCLVKTracerImpl*, UInt64, const char*, const char*, va_list) {},
    [](OpenGLCLVKTracerImpl*, UInt32, OpenGLCLVKTracerInterface::DataKind, Int, const void*, Int) {},
};

constexpr OpenGLCLTrace::Operations kTraceOperations{
    []() -> Result<OpenGLCLVKTracerRef> { return NewObject<OpenGLCLVKTracerRef>(); }};

constinit InterfaceRecord g_records[] = {
    ImplementInterface<OpenGLCLVKTracerInterface>("net.nuvra.benchmark.tracer", "Recorder",
                                                  kTracerOperations),
    ImplementInterface<OpenGLCLTrace>("net.nuvra.benchmark.trace", "RecorderTrace", kTraceOperations),
};
SourceUnit g_unit{g_program, "recording", {&g_records[0], &g_records[1]}};

}  // namespace

bool Recording::Argument::Set() const {
    return clSetKernelArg(kernel, index, size, value.empty() ? nullptr : value.data()) == CL_SUCCESS;
}

bool Recording::Launch::Enqueue() const {
    return clEnqueueNDRangeKernel(queue, kernel, static_cast<cl_uint>(globalSize.size()), DataOf(offset),
                                  globalSize.data(), DataOf(localSize), 0, nullptr, nullptr) == CL_SUCCESS;
}

Recording::Recording(const std::function<void()>& run) {
    g_recording = this;
    run();
    g_recording = nullptr;
    if (_queue == nullptr) throw std::runtime_error("a task launched nothing");
}

bool Recording::Repeat() const {
    bool done = true;
    for (const auto& call : _calls) {
        const auto* argument = std::get_if<Argument>(&call);
        done = done && (argument != nullptr ? argument->Set() : std::get<Launch>(call).Enqueue());
    }
    return clFinish(_queue) == CL_SUCCESS && done;
}

}  // namespace nuvra::bench
