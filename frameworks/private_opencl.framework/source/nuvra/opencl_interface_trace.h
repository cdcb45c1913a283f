#pragma once

#include <algorithm>
#include <array>
#include <string_view>
#include <tuple>

#include "nuvra/opencl_interface.h"
#include "nuvra/opengl_cl_trace.h"

/// How the module calls OpenCL: `Call<entry::NAME>(after, arguments...)`, which lets a tracer see the call.
///
/// Without a tracer that is the call through the table behind one test. With one, the before event gets its
/// values from the arguments by the entry's before code, and the after event gets them from `after`, one of
/// the small types below. Both are checked against the letters at compile time.
namespace nuvra {

/// The host's tracer; null when nothing is traced. It is counted by hand, so that nothing drops it when the
/// process ends: objects that outlive `main` still call OpenCL then.
extern constinit OpenGLCLVKTracerImpl* g_tracer;

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

template <char Letter>
struct TraceLetter {
    static constexpr std::string_view kPointers = "pPrT";
    static constexpr std::string_view kWords = "ubEmnvYV";
    static constexpr std::string_view kBitFields = "NwWR";
    static constexpr bool kIsPointer = kPointers.find(Letter) != kPointers.npos;

    using Type = std::conditional_t<
        Letter == 'i', cl_int,
        std::conditional_t<Letter == 's', size_t,
                           std::conditional_t<kWords.find(Letter) != kWords.npos, cl_uint,
                                              std::conditional_t<kBitFields.find(Letter) != kBitFields.npos,
                                                                 cl_ulong, void>>>>;
};

/// A value as the tracer reads it; does not compile when the letter stands for another type.
template <char Letter, class T>
auto TraceValue(T value) {
    if constexpr (TraceLetter<Letter>::kIsPointer) {
        static_assert(std::is_pointer_v<T>, "the letter stands for a pointer");
        static_assert(Letter != 'T' || std::is_same_v<T, const char*>, "the letter stands for a text");
        return reinterpret_cast<const void*>(value);
    } else {
        static_assert(std::is_same_v<T, typename TraceLetter<Letter>::Type>,
                      "the letter stands for another type");
        return value;
    }
}

template <class... Texts>
constexpr std::array<std::string_view, sizeof...(Texts)> MakeTraceCodes(Texts... texts) {
    return {std::string_view(texts)...};
}

/// One type an OpenCL function, named like it.
namespace entry {
#define OPENCL_ENTRY(presence, name, before, after)                            \
    struct name {                                                              \
        static constexpr auto kFunction = &OpenCLInterface::name;              \
        static constexpr const char* kName = "nuvra::OpenCLInterface::" #name; \
        static constexpr auto kBefore = MakeTraceCodes before;                 \
        static constexpr auto kAfter = MakeTraceCodes after;                   \
    };
#include "nuvra/opencl_entries.def"
#undef OPENCL_ENTRY
}  // namespace entry

/// The before code as the tracer sees it: without the arguments that are not traced.
template <class Entry>
inline constexpr auto kTracedCode = [] {
    std::array<char, Entry::kBefore[0].size() + 1> code{};
    std::ranges::copy_if(Entry::kBefore[0], code.begin(), [](char letter) { return letter != '-'; });
    return code;
}();

/// Walks the before code from `Position` and takes the values out of `arguments` into `values`.
template <class Entry, size_t Position, class... Values, class... Arguments>
auto GatherBefore(Int32 count, std::tuple<Values...> values, std::tuple<Arguments...> arguments) {
    constexpr char letter = Entry::kBefore[0][Position];
    if constexpr (letter == 'x') {
        static_assert(sizeof...(Arguments) == 0, "the code has a letter for every argument");
        return values;
    } else {
        const auto first = std::get<0>(arguments);
        const auto rest = std::apply([](auto, auto... others) { return std::tuple(others...); }, arguments);
        if constexpr (letter == '-') {
            return GatherBefore<Entry, Position + 1>(count, values, rest);
        } else if constexpr (letter == 'a') {
            static_assert(std::is_pointer_v<std::remove_const_t<decltype(first)>>);
            // Sizes have three dimensions at most, whatever a launch claims.
            constexpr bool isSizes = Entry::kBefore[0][Position + 1] == 's';
            const Int32 length = first == nullptr ? 0 : isSizes ? std::min(count, 3) : count;
            return GatherBefore<Entry, Position + 2>(
                count, std::tuple_cat(values, std::tuple(length, static_cast<const void*>(first))), rest);
        } else {
            const auto value = TraceValue<letter>(first);
            if constexpr (letter == 'u') count = static_cast<Int32>(value);
            return GatherBefore<Entry, Position + 1>(count, std::tuple_cat(values, std::tuple(value)), rest);
        }
    }
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

/// What a call answers that threw: the code, from functions that give a handle or an address through their
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

/// The call itself. An exception of the runtime becomes a code here: it must pass neither the module, whose
/// callers know of none, nor its callers.
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
    static_assert(std::ranges::find(Entry::kAfter, After::kCode) != Entry::kAfter.end(),
                  "the function's entry lists its after codes");
    UInt32 cookie = 0;
    TraceFrame frame{Entry::kName, 0, &cookie};
    before(frame);
    attach(cookie);
    const auto result = CallGuarded(function, parameters...);
    frame.phase = 1;
    std::apply([&](auto... values) { TraceEvent(frame, After::kCode.data(), values...); }, after(result));
    return result;
}

struct AttachNothing {
    void operator()(UInt32) const {}
};

template <class Entry, class Function>
struct Caller;

/// Gives the call's arguments the types of the function's parameters.
template <class Entry, class R, class... Parameters>
struct Caller<Entry, R(CL_API_CALL*)(Parameters...)> {
    using Function = R(CL_API_CALL*)(Parameters...);

    template <class Attach, class After>
    static R Call(Function function, const Attach& attach, const After& after, Parameters... parameters) {
        if (!g_tracer) [[likely]]
            return CallGuarded(function, parameters...);
        return Traced(function, attach, after, parameters...);
    }

private:
    /// Apart, and with its arguments by value, so that the way without a tracer keeps them in registers.
    template <class Attach, class After>
    [[gnu::noinline, gnu::cold]] static R Traced(Function function, Attach attach, After after,
                                                 Parameters... parameters) {
        const auto before = [&](const TraceFrame& frame) {
            std::apply([&](auto... values) { TraceEvent(frame, kTracedCode<Entry>.data(), values...); },
                       GatherBefore<Entry, 0>(3, std::tuple(), std::tuple(parameters...)));
        };
        return CallTraced<Entry>(function, before, attach, after, parameters...);
    }
};

/// Calls the entry's function at the given address with a before and an after event around it: for functions
/// that are not in the table.
template <class Entry, class Function, class After, class... Arguments>
auto CallAt(Function function, const After& after, Arguments... arguments) {
    return Caller<Entry, Function>::Call(function, AttachNothing(), after, arguments...);
}

/// Calls the function in the table with a before and an after event around it.
template <class Entry, class After, class... Arguments>
auto Call(const After& after, Arguments... arguments) {
    return CallAt<Entry>(g_openCL.*Entry::kFunction, after, arguments...);
}

/// Calls the function in the table without events.
template <class Entry, class... Arguments>
auto CallUntraced(Arguments... arguments) {
    return CallGuarded(g_openCL.*Entry::kFunction, arguments...);
}

/// The same as `Call`; `attach(cookie)` runs between the before event and the call where the tracer wants
/// data.
template <class Entry, class Attach, class After, class... Arguments>
auto CallAttaching(const Attach& attach, const After& after, Arguments... arguments) {
    const auto attachIfWanted = [&](UInt32 cookie) {
        if (IsTraceCapturing()) attach(cookie);
    };
    const auto function = g_openCL.*Entry::kFunction;
    return Caller<Entry, std::remove_cv_t<decltype(function)>>::Call(function, attachIfWanted, after,
                                                                     arguments...);
}

}  // namespace nuvra
