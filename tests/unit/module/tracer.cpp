#include "tracer.h"

namespace nuvra {

/// The state is in `g_trace`; the object is only there to be counted.
class OpenGLCLVKTracerImpl : public ObjectHeader {};

}  // namespace nuvra

namespace nuvra::test {

Trace g_trace;

namespace {

/// The values of the tracer's own events; those of calls are the host's to show.
std::string Decode(const char* code, va_list values) {
    if (std::string_view(code) == "i") return ' ' + std::to_string(va_arg(values, int));
    if (std::string_view(code) != "PT") return "";
    const std::string handle = fake::Control::Get().NameOf(va_arg(values, const void*));
    return ' ' + handle + " \"" + va_arg(values, const char*) + '"';
}

void Event(const char* mark, UInt64 thread, const char* name, const char* code, va_list values) {
    g_trace.events.push_back(std::string(mark) + name + ' ' + code + Decode(code, values));
    g_trace.threads.push_back(thread);
}

constexpr OpenGLCLVKTracerInterface::Operations kTracerOperations{
    DeleteObject<OpenGLCLVKTracerImpl>,
    [](OpenGLCLVKTracerImpl*) -> Result<void> {
        if (!g_trace.isActive) return NewError<UnknownErrorObject>("inactive");
        return {};
    },
    [](OpenGLCLVKTracerImpl*) { return g_trace.isCapturing; },
    [](OpenGLCLVKTracerImpl*, const char* text) { g_trace.events.push_back(std::string("# ") + text); },
    [](OpenGLCLVKTracerImpl*, UInt64 thread, const char* name, const char* code, va_list values) {
        Event("> ", thread, name, code, values);
        return UInt32{1};
    },
    [](OpenGLCLVKTracerImpl*, UInt64 thread, const char* name, const char* code, va_list values) {
        Event("< ", thread, name, code, values);
    },
    [](OpenGLCLVKTracerImpl*, UInt32, OpenGLCLVKTracerInterface::DataKind, Int, const void*, Int) {},
};

constexpr OpenGLCLTrace::Operations kTraceOperations{[]() -> Result<OpenGLCLVKTracerRef> {
    if (!g_trace.isOffered) return OpenGLCLVKTracerRef();
    return NewObject<OpenGLCLVKTracerRef>();
}};

constinit InterfaceRecord g_records[] = {
    ImplementInterface<OpenGLCLVKTracerInterface>("net.nuvra.test.tracer", "TestTracer", kTracerOperations),
    ImplementInterface<OpenGLCLTrace>("net.nuvra.test.trace", "TestTrace", kTraceOperations),
};
SourceUnit g_unit{g_program, "tracer", {&g_records[0], &g_records[1]}};

}  // namespace
}  // namespace nuvra::test
