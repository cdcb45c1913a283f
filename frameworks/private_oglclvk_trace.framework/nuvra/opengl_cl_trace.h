#pragma once

#include <cstdarg>

#include "nuvra/result.h"

namespace nuvra {

class OpenGLCLVKTracerImpl;
class OpenGLCLVKTracerRef;

/// What a tracer offers. Calls come from any thread. The pointers of a before event are valid until the after
/// event of the same call, on the same thread, has been handled.
///
/// A signature code has one letter a value, in order (`kTraceLetters`). Two more: "a" is the element count
/// (32-bit int) of an array whose address is the next value, the next letter being that of its elements;
/// "x" ends the code of a call's arguments and has no value.
struct OpenGLCLVKTracerInterface {
    static constexpr Id kId{"nuvra.OpenGLCLVKTracerInterface#1"};
    static constexpr const char* kHeader = "nuvra/opengl_cl_trace.h";
    static constexpr bool kOptional = true;
    using Object = OpenGLCLVKTracerImpl;

    enum class DataKind : UInt32 { TEXT = 11, BYTES = 12 };

    struct Operations {
        void (*Destroy)(OpenGLCLVKTracerImpl* tracer);
        /// Asked once before anything is traced; an error means that the tracer stays unused.
        Result<void> (*CheckActivation)(OpenGLCLVKTracerImpl* tracer);
        /// Whether callers should attach argument data.
        Bool (*IsCapturing)(OpenGLCLVKTracerImpl* tracer);
        void (*Comment)(OpenGLCLVKTracerImpl* tracer, const char* text);
        /// The result is a cookie for `AttachData`. `thread` is the system's id of the calling thread.
        UInt32 (*CallBegins)(OpenGLCLVKTracerImpl* tracer, UInt64 thread, const char* name, const char* code,
                             va_list values);
        void (*CallEnds)(OpenGLCLVKTracerImpl* tracer, UInt64 thread, const char* name, const char* code,
                         va_list values);
        /// Data behind an argument of the call with that cookie: `size` bytes (a text's length, or 0 for a
        /// NUL-terminated text) and the index of the array element that it belongs to, or -1.
        void (*AttachData)(OpenGLCLVKTracerImpl* tracer, UInt32 cookie, DataKind kind, Int size,
                           const void* data, Int index);
    };
};

class OpenGLCLVKTracerRef : public ObjectRef<OpenGLCLVKTracerInterface> {
public:
    using ObjectRef::ObjectRef;
    OpenGLCLVKTracerRef() = default;
};

/// The tracing service.
struct OpenGLCLTrace {
    static constexpr Id kId{"nuvra.OpenGLCLTrace#1"};
    static constexpr const char* kHeader = "nuvra/opengl_cl_trace.h";
    static constexpr bool kOptional = true;

    struct Operations {
        /// The tracer, or an empty reference where nothing is traced.
        Result<OpenGLCLVKTracerRef> (*GetTracer)();
    };
};

}  // namespace nuvra
