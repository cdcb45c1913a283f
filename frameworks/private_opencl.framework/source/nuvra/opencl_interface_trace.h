#pragma once

#include <algorithm>
#include <array>
#include <string_view>
#include <tuple>

#include "nuvra/opencl_interface.h"
#include "nuvra/opengl_cl_trace.h"
#include "nuvra/trace_signature.h"

/// How the module calls OpenCL: `Call<entry::NAME>(after, arguments...)`, which lets a tracer see the call.
///
/// Without a tracer that is the call through the table behind one test. With one, the before event gets its
/// values from the arguments by the function's before signature, and the after event gets them from `after`,
/// one of the small types below. Both are checked against the letters at compile time.
namespace nuvra {

/// The host's tracer; null when nothing is traced. A raw pointer, released by `DropTracer`: objects that
/// outlive `main` still call OpenCL.
extern constinit OpenGLCLVKTracerImpl* g_tracer;

/// False in a build that measures what the test for a tracer costs.
#ifdef NUVRA_UNTRACED
inline constexpr bool kCanTrace = false;
#else
inline constexpr bool kCanTrace = true;
#endif

/// Whether calls need events.
inline bool IsTraced() {
    return kCanTrace && g_tracer != nullptr;
}

/// Asks the host for its tracer and, the first time that there is one, tells it the names of all platforms
/// and devices. A failure leaves the calls untraced.
void ConnectTracer();
void DropTracer();

struct TraceFrame {
    const char* name;
    UInt32 phase = 0;              ///< 0 before the call, 1 after it
    UInt32* resultSlot = nullptr;  ///< receives the call's cookie, then 1; may be null
};

/// One event. The values follow in the order of the code, each of its letter's type after the promotions of
/// variable arguments. Without a tracer the slot reads 0 before the call.
void TraceEvent(const TraceFrame& frame, const char* code, ...);

enum class TraceData : UInt32 { TEXT = 0, BYTES = 1 };

/// Attaches data to the call whose before event gave the cookie. Only where `IsTraceCapturing`.
void AttachTraceData(UInt32 cookie, TraceData kind, Int size, const void* data, Int index);
bool IsTraceCapturing();

/// Whether a value of type T is passed as the letter says.
template <class T>
constexpr bool IsOfType(LetterType type) {
    switch (type) {
        case LetterType::INT32:
            return std::is_same_v<T, cl_int>;
        case LetterType::UINT32:
            return std::is_same_v<T, cl_uint>;
        case LetterType::SIZE:
            return std::is_same_v<T, size_t>;
        case LetterType::UINT64:
            return std::is_same_v<T, cl_ulong>;
        case LetterType::TEXT:
            return std::is_same_v<T, const char*>;
        case LetterType::POINTER:
        case LetterType::PROPERTIES:
            return std::is_pointer_v<T>;
        default:
            return false;
    }
}

/// A value as the tracer reads it; does not compile when the letter stands for another type.
template <char Letter, class T>
auto TraceValue(T value) {
    static_assert(IsOfType<T>(FindTraceLetter(Letter)->type), "the letter stands for another type");
    if constexpr (std::is_pointer_v<T>)
        return reinterpret_cast<const void*>(value);
    else
        return value;
}

template <class... Texts>
constexpr std::array<std::string_view, sizeof...(Texts)> MakeSignatures(Texts... texts) {
    return {std::string_view(texts)...};
}
template <size_t Count>
constexpr std::array<TraceCode, Count> MakeTraceCodes(const std::array<std::string_view, Count>& signatures,
                                                      bool areOfArguments) {
    std::array<TraceCode, Count> codes;
    std::ranges::transform(signatures, codes.begin(), [areOfArguments](std::string_view signature) {
        return MakeTraceCode(signature, areOfArguments);
    });
    return codes;
}

/// One type an OpenCL function, named like it.
namespace entry {
#define TRACED_FUNCTION(name, before, after, ...)                                   \
    struct name {                                                                   \
        static constexpr const char* kName = "nuvra::OpenCLInterface::" #name;      \
        static constexpr auto kSignatures = MakeSignatures before;                  \
        static constexpr auto kBefore = MakeTraceCodes(kSignatures, true);          \
        static constexpr auto kAfter = MakeTraceCodes(MakeSignatures after, false); \
        __VA_ARGS__                                                                 \
    };
#define OPENCL_FUNCTION(presence, name, effect, before, after) \
    TRACED_FUNCTION(name, before, after, static constexpr auto kFunction = &OpenCLInterface::name;)
#define OPENCL_EXTENSION_FUNCTION(name, effect, before, after) TRACED_FUNCTION(name, before, after)
#include "nuvra/opencl_functions.def"
#undef TRACED_FUNCTION
}  // namespace entry

/// The letters of a call's arguments, by the function's first before signature.
template <class Entry, size_t Count>
inline constexpr auto kArgumentLetters = [] {
    std::array<std::string_view, Count> letters;
    std::string_view rest = Entry::kSignatures[0];
    for (std::string_view& one : letters) one = TakeSignatureValue(rest).letters;
    if (!rest.empty()) throw "the signature has more values than the function arguments";
    return letters;
}();

/// The argument that says how many elements the array at `index` has; `index` where there is none.
template <size_t Count>
constexpr size_t FindCounter(const std::array<std::string_view, Count>& letters, size_t index) {
    for (size_t i = index; i > 0; i--)
        if (letters[i - 1] == "u") return i - 1;
    return index;
}

/// The traced values of the argument `Index`: none, its value, or an array's length and address.
template <class Entry, size_t Index, class... Arguments>
auto GetTraceValues(const std::tuple<Arguments...>& arguments) {
    constexpr const auto& letters = kArgumentLetters<Entry, sizeof...(Arguments)>;
    const auto value = std::get<Index>(arguments);
    if constexpr (letters[Index] == "-") {
        return std::tuple();
    } else if constexpr (letters[Index][0] == 'a') {
        static_assert(std::is_pointer_v<std::remove_const_t<decltype(value)>>);
        constexpr size_t counter = FindCounter(letters, Index);
        Int32 count = 3;
        if constexpr (counter < Index) count = static_cast<Int32>(std::get<counter>(arguments));
        // Sizes have three dimensions at most, whatever a launch claims.
        if constexpr (letters[Index] == "as") count = std::min(count, 3);
        return std::tuple(value == nullptr ? 0 : count, static_cast<const void*>(value));
    } else {
        return std::tuple(TraceValue<letters[Index][0]>(value));
    }
}

/// The values of the before event, as the function's first before code has them.
template <class Entry, size_t... Index, class... Arguments>
auto GatherBefore(std::index_sequence<Index...>, const std::tuple<Arguments...>& arguments) {
    return std::tuple_cat(GetTraceValues<Entry, Index>(arguments)...);
}

/// After values: the code alone.
struct ResultCode {
    static constexpr std::string_view kCode = "i";
    auto operator()(cl_int code) const { return std::tuple(code); }
};

/// After values of a creating call: what it wrote to its error output, and the handle.
struct Created {
    static constexpr std::string_view kCode = "iP";
    const cl_int* error;
    template <class Handle>
    auto operator()(Handle handle) const {
        return std::tuple(*error, TraceValue<'P'>(handle));
    }
};

/// After values of an enqueue: the code and the event, null where none was asked for or written.
struct Enqueued {
    static constexpr std::string_view kCode = "iP";
    const cl_event* event;
    auto operator()(cl_int code) const {
        return std::tuple(code, TraceValue<'P'>(event != nullptr && code == CL_SUCCESS ? *event : nullptr));
    }
};

/// After values of a mapping: the address and the event.
struct Mapped {
    static constexpr std::string_view kCode = "pP";
    const cl_event* event;
    const cl_int* error;
    auto operator()(void* mapped) const {
        return std::tuple(TraceValue<'p'>(mapped),
                          TraceValue<'P'>(event != nullptr && *error == CL_SUCCESS ? *event : nullptr));
    }
};

/// After values of a list query: the code, the count and the part of the list that the array holds.
struct Listed {
    static constexpr std::string_view kCode = "iuaP";
    const cl_uint* count;
    cl_uint capacity;
    const void* array;
    auto operator()(cl_int code) const {
        const cl_uint found = code == CL_SUCCESS ? *count : 0;
        const cl_uint held = array == nullptr ? 0 : std::min(found, capacity);
        return std::tuple(code, found, static_cast<Int32>(held), array);
    }
};

/// After values of a text query: the code, the text and the size, each as far as it was asked for.
struct TextRead {
    static constexpr std::string_view kCode = "iTs";
    const char* text;
    const size_t* size;
    auto operator()(cl_int code) const {
        const bool isRead = code == CL_SUCCESS && text != nullptr;
        const bool isSized = code == CL_SUCCESS && size != nullptr;
        return std::tuple(code, TraceValue<'T'>(isRead ? text : ""), isSized ? *size : size_t{0});
    }
};

/// The code for the exception that is being handled: CL_OUT_OF_HOST_MEMORY where memory ran out, 3, the
/// module's "unspecified", for anything else.
cl_int GetCodeOfException() noexcept;

/// The result of a call that threw. Functions that return a handle or an address take the code through their
/// last argument.
template <class R, class... Parameters>
R AnswerException(cl_int code, Parameters... parameters) {
    if constexpr (std::is_same_v<R, cl_int>) {
        return code;
    } else {
        auto* last = std::get<sizeof...(parameters) - 1>(std::tuple(parameters...));
        if constexpr (std::is_same_v<decltype(last), cl_int*>) *last = code;
        return nullptr;
    }
}

/// The call itself. An exception of the runtime becomes a code here: none may reach the module's callers.
template <class R, class... Parameters>
R CallGuarded(R(CL_API_CALL* function)(Parameters...), std::type_identity_t<Parameters>... parameters) {
    try {
        return function(parameters...);
    } catch (...) {
        return AnswerException<R>(GetCodeOfException(), parameters...);
    }
}

/// Emits the before event, runs `attach` with its cookie, makes the call, and emits the after event.
template <class Entry, class Function, class Before, class Attach, class After, class... Parameters>
[[gnu::noinline]] auto CallTraced(Function function, const Before& before, const Attach& attach,
                                  const After& after, Parameters... parameters) {
    static_assert(std::ranges::find(Entry::kAfter, After::kCode, &TraceCode::GetView) != Entry::kAfter.end(),
                  "the function's row has the after signature");
    UInt32 cookie = 0;
    TraceFrame frame{Entry::kName, 0, &cookie};
    before(frame);
    attach(cookie);
    const auto result = CallGuarded(function, parameters...);
    frame.phase = 1;
    std::apply([&](auto... values) { TraceEvent(frame, After::kCode.data(), values...); }, after(result));
    return result;
}

/// The call with its events. Out of line and by value: the untraced path keeps its arguments in registers.
template <class Entry, class Attach, class After, class R, class... Parameters>
[[gnu::noinline, gnu::cold]] R CallWithEvents(R(CL_API_CALL* function)(Parameters...), Attach attach,
                                              After after, std::type_identity_t<Parameters>... parameters) {
    const auto before = [&](const TraceFrame& frame) {
        std::apply([&](auto... values) { TraceEvent(frame, Entry::kBefore[0].letters.data(), values...); },
                   GatherBefore<Entry>(std::index_sequence_for<Parameters...>(), std::tuple(parameters...)));
    };
    return CallTraced<Entry>(function, before, attach, after, parameters...);
}

struct AttachNothing {
    void operator()(UInt32) const {}
};

/// Calls the entry's function at the given address with a before and an after event around it: for functions
/// that are not in the table.
template <class Entry, class After, class R, class... Parameters>
R CallAt(R(CL_API_CALL* function)(Parameters...), const After& after,
         std::type_identity_t<Parameters>... parameters) {
    if (!IsTraced()) [[likely]]
        return CallGuarded(function, parameters...);
    return CallWithEvents<Entry>(function, AttachNothing(), after, parameters...);
}

/// Calls the function in the table with a before and an after event around it.
template <class Entry, class After, class... Arguments>
auto Call(const After& after, Arguments... arguments) {
    return CallAt<Entry>(g_openCL.*Entry::kFunction, after, arguments...);
}

/// The same; `attach(cookie)` runs between the before event and the call where the tracer wants data.
template <class Entry, class Attach, class After, class... Arguments>
auto CallAttaching(const Attach& attach, const After& after, Arguments... arguments) {
    const auto function = g_openCL.*Entry::kFunction;
    if (!IsTraced()) [[likely]]
        return CallGuarded(function, arguments...);
    const auto attachIfWanted = [&](UInt32 cookie) {
        if (IsTraceCapturing()) attach(cookie);
    };
    return CallWithEvents<Entry>(function, attachIfWanted, after, arguments...);
}

/// Calls the function in the table without events.
template <class Entry, class... Arguments>
auto CallUntraced(Arguments... arguments) {
    return CallGuarded(g_openCL.*Entry::kFunction, arguments...);
}

}  // namespace nuvra
