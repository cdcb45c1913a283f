#include "tracer.h"

#include "nuvra/trace_signature.h"

namespace nuvra {

/// The state is in `g_trace`; the object is only there to be counted.
class OpenGLCLVKTracerImpl : public ObjectHeader {};

}  // namespace nuvra

namespace nuvra::test {

Trace g_trace;

namespace {

template <class T>
std::string ItemText(const T& item) {
    if constexpr (std::is_pointer_v<T>)
        return fake::Control::Get().NameOf(item);
    else
        return std::to_string(item);
}
template <class T>
std::string ListText(int count, const void* array) {
    std::string text;
    for (int i = 0; i < count; i++) text += (i > 0 ? " " : "") + ItemText(static_cast<const T*>(array)[i]);
    return '[' + text + ']';
}

/// An array with the type of its elements.
std::string ArrayText(LetterType type, int count, const void* array) {
    switch (type) {
        case LetterType::SIZE:
            return ListText<size_t>(count, array);
        case LetterType::INT32:
            return ListText<cl_int>(count, array);
        case LetterType::FLOAT32:
            return ListText<cl_float>(count, array);
        case LetterType::FLOAT64:
            return ListText<cl_double>(count, array);
        default:
            return ListText<const void*>(count, array);
    }
}

std::string PropertiesText(const void* const* list) {
    int count = 0;
    while (list != nullptr && list[count] != nullptr) count++;
    return ListText<const void*>(count, list);
}

std::string TextOrNull(const char* text) {
    return text == nullptr ? "null" : '"' + std::string(text) + '"';
}

std::string Decode(const char* code, va_list values) {
    std::string text;
    for (; *code != '\0' && *code != 'x'; code++) {
        text += ' ';
        if (*code == 'a') {
            const int count = va_arg(values, int);
            text += ArrayText(FindTraceLetter(*++code)->type, count, va_arg(values, const void*));
            continue;
        }
        switch (FindTraceLetter(*code)->type) {
            case LetterType::INT32:
                text += std::to_string(va_arg(values, cl_int));
                break;
            case LetterType::UINT32:
                text += std::to_string(va_arg(values, cl_uint));
                break;
            case LetterType::SIZE:
                text += std::to_string(va_arg(values, size_t));
                break;
            case LetterType::UINT64:
                text += std::to_string(va_arg(values, cl_ulong));
                break;
            case LetterType::TEXT:
                text += TextOrNull(va_arg(values, const char*));
                break;
            case LetterType::PROPERTIES:
                text += PropertiesText(va_arg(values, const void* const*));
                break;
            default:
                text += fake::Control::Get().NameOf(va_arg(values, const void*));
        }
    }
    return text;
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
        return ++g_trace.lastCookie;
    },
    [](OpenGLCLVKTracerImpl*, UInt64 thread, const char* name, const char* code, va_list values) {
        Event("< ", thread, name, code, values);
    },
    [](OpenGLCLVKTracerImpl*, UInt32 cookie, OpenGLCLVKTracerInterface::DataKind kind, Int size,
       const void* data, Int index) {
        const auto* text = static_cast<const char*>(data);
        g_trace.events.push_back("+ " + std::to_string(cookie) + ' ' +
                                 std::to_string(static_cast<int>(kind)) + ' ' + std::to_string(size) + ' ' +
                                 (size > 0 ? std::string(text, text + size) : std::string(text)) + ' ' +
                                 std::to_string(index));
    },
};

constexpr OpenGLCLTrace::Operations kTraceOperations{[]() -> Result<OpenGLCLVKTracerRef> {
    if (!g_trace.isOffered) return OpenGLCLVKTracerRef();
    return OpenGLCLVKTracerRef(NewObject<OpenGLCLVKTracerImpl>());
}};

constinit InterfaceRecord g_records[] = {
    ImplementInterface<OpenGLCLVKTracerInterface>("net.nuvra.test.tracer", "TestTracer", kTracerOperations),
    ImplementInterface<OpenGLCLTrace>("net.nuvra.test.trace", "TestTrace", kTraceOperations),
};
SourceUnit g_unit{g_program, "tracer", {&g_records[0], &g_records[1]}};

}  // namespace
}  // namespace nuvra::test
