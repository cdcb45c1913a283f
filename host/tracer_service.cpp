#include "tracer_service.h"

#include "nuvra/opengl_cl_trace.h"
#include "services.h"
#include "settings.h"
#include "tracing/recorder.h"

namespace nuvra {

/// Shares ownership of the tracing: a module may outlive its host and still trace.
class OpenGLCLVKTracerImpl : public ObjectHeader {
public:
    std::shared_ptr<host::Tracing> tracing;
};

}  // namespace nuvra

namespace nuvra::host {

namespace {

/// An exception stops the tracing and never reaches the traced program.
template <class Action>
void Record(OpenGLCLVKTracerImpl* tracer, const Action& action) noexcept {
    Recorder& recorder = GetRecorder(*tracer->tracing);
    try {
        action(recorder);
    } catch (...) {
        recorder.Stop(Recorder::kOutOfMemory);
    }
}

void Destroy(OpenGLCLVKTracerImpl* tracer) noexcept {
    DeleteHostObject(tracer);
}

Result<void> CheckActivation(OpenGLCLVKTracerImpl*) noexcept {
    return {};
}

Bool IsCapturing(OpenGLCLVKTracerImpl* tracer) noexcept {
    return GetRecorder(*tracer->tracing).IsCapturing();
}

void Comment(OpenGLCLVKTracerImpl* tracer, const char* text) noexcept {
    Record(tracer, [&](Recorder& recorder) { recorder.Comment(text); });
}

UInt32 CallBegins(OpenGLCLVKTracerImpl* tracer, UInt64 thread, const char* name, const char* code,
                  va_list values) noexcept {
    UInt32 cookie = 0;
    Record(tracer, [&](Recorder& recorder) { cookie = recorder.Begin(thread, name, code, values); });
    return cookie;
}

void CallEnds(OpenGLCLVKTracerImpl* tracer, UInt64 thread, const char* name, const char* code,
              va_list values) noexcept {
    Record(tracer, [&](Recorder& recorder) { recorder.End(thread, name, code, values); });
}

void AttachData(OpenGLCLVKTracerImpl* tracer, UInt32 cookie, OpenGLCLVKTracerInterface::DataKind kind,
                Int size, const void* data, Int index) noexcept {
    const bool isText = kind == OpenGLCLVKTracerInterface::DataKind::TEXT;
    Record(tracer, [&](Recorder& recorder) { recorder.Attach(cookie, isText, size, data, index); });
}

Result<OpenGLCLVKTracerRef> GetTracer() noexcept {
    const std::shared_ptr<Tracing>& tracing = GetSettings().tracing;
    if (tracing == nullptr) return OpenGLCLVKTracerRef();
    OpenGLCLVKTracerRef tracer(NewHostObject<OpenGLCLVKTracerImpl>());
    if (!tracer) {
        GetRecorder(*tracing).Stop("nothing is traced: out of memory");
        return OutOfMemoryError();
    }
    tracer.Get()->tracing = tracing;
    return tracer;
}

}  // namespace

constinit const OpenGLCLVKTracerInterface::Operations kTracerOperations{
    Destroy, CheckActivation, IsCapturing, Comment, CallBegins, CallEnds, AttachData};
constinit const OpenGLCLTrace::Operations kTraceOperations{GetTracer};

}  // namespace nuvra::host
