#include "decoder.h"

#include <CL/cl.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "constants.h"
#include "nuvra/host/error_names.h"
#include "queries.h"

namespace nuvra::host {

namespace {

/// A copy of an argument list, read in turn.
class Arguments {
public:
    explicit Arguments(va_list arguments) { va_copy(_list, arguments); }
    ~Arguments() { va_end(_list); }
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;

    template <class T>
    T Take() {
        if constexpr (std::is_same_v<T, cl_float>)
            return static_cast<cl_float>(va_arg(_list, double));  // as variable arguments pass it
        else
            return va_arg(_list, T);
    }

private:
    va_list _list;
};

/// The elements of an array, read in turn, as variable arguments would be.
class Elements {
public:
    explicit Elements(const void* array) : _next(static_cast<const std::byte*>(array)) {}

    template <class T>
    T Take() {
        T value;
        std::memcpy(&value, _next, sizeof(value));
        _next += sizeof(value);
        return value;
    }

private:
    const std::byte* _next;
};

/// The letters of answers to queries beyond those of signature codes: constants that no argument is.
constexpr TraceLetter kAnswerLetters[] = {
    {'o', LetterType::UINT32, LetterKind::CONSTANT},  // channel order of an image format
    {'t', LetterType::UINT32, LetterKind::CONSTANT},  // channel data type
    {'g', LetterType::UINT32, LetterKind::CONSTANT},  // type of a cache
    {'l', LetterType::UINT32, LetterKind::CONSTANT},  // type of local memory
    {'B', LetterType::UINT32, LetterKind::CONSTANT},  // build status of a program
    {'k', LetterType::UINT32, LetterKind::CONSTANT},  // binary type of a program
    {'c', LetterType::UINT64, LetterKind::BITS},      // floating-point capabilities
    {'e', LetterType::UINT64, LetterKind::BITS},      // execution capabilities
    {'d', LetterType::UINT64, LetterKind::BITS},      // affinity domains
};

const TraceLetter& GetAnswerLetter(char letter) {
    const TraceLetter* found = FindTraceLetter(letter);
    return found != nullptr ? *found : *std::ranges::find(kAnswerLetters, letter, &TraceLetter::letter);
}

/// The name of a constant or query; empty for one that has none.
std::string_view FindName(const TraceLetter& letter, UInt32 value) {
    if (letter.kind != LetterKind::QUERY) return FindConstant(letter.letter, value);
    const Query* query = FindQuery(letter.letter, value);
    return query != nullptr ? query->name : std::string_view();
}

class Decoder {
public:
    Decoder(const Event& event, Handles& handles, Values& values)
        : _event(event), _handles(handles), _values(values) {}

    Outcome Run(Arguments& arguments) {
        const std::string_view code = _event.code;
        const Signature* signature = _event.function == nullptr ? nullptr : _event.function->Find(code);
        size_t next = 0;
        for (size_t i = 0; i < code.size() && code[i] != 'x'; i++, next++) {
            _parameter = signature != nullptr && next < signature->parameters.size()
                             ? signature->parameters[next]
                             : Parameter{"value"};
            const TraceLetter* letter = FindTraceLetter(code[i]);
            if (code[i] == 'a' && i + 1 < code.size()) {
                AddArray(FindTraceLetter(code[++i]), arguments);
            } else if (letter == nullptr) {
                AddText(code.substr(i), Form::TEXT, "undecoded");
                break;
            } else {
                AddScalar(*letter, arguments);
            }
            if (next == 0 && AddAnswer()) break;
        }
        return _outcome;
    }

private:
    void AddScalar(const TraceLetter& letter, Arguments& arguments) {
        if (letter.type == LetterType::TEXT)
            AddString(arguments.Take<const char*>());
        else if (letter.type == LetterType::PROPERTIES)
            AddProperties(arguments.Take<const cl_context_properties*>());
        else if (_event.arguments != nullptr && _parameter.meaning == Meaning::HANDLE)
            AddCreated(arguments.Take<const void*>());
        else
            AddElement(letter, arguments);
    }

    void AddArray(const TraceLetter* letter, Arguments& arguments) {
        const auto count = static_cast<UInt32>(std::max(arguments.Take<int>(), 0));
        const void* array = arguments.Take<const void*>();
        if (array == nullptr || letter == nullptr) return AddPointer(array);
        AddList(*letter, count, Elements(array));
    }

    void AddList(const TraceLetter& letter, UInt64 count, Elements elements) {
        const auto kept = static_cast<UInt32>(std::min<UInt64>(count, kLongestList));
        Value& list = _values.Add(_parameter.name, Form::LIST);
        list.count = kept;
        list.omitted = count - kept;
        _parameter.name = {};
        for (UInt32 i = 0; i < kept; i++) AddElement(letter, elements);
    }

    /// Adds the answer of a query, of which the code has only a part. False for any other call and for an
    /// unknown query: their values are those of the code.
    bool AddAnswer() {
        if (_event.arguments == nullptr || _event.function == nullptr) return false;
        const Parameter* question = _event.function->Find(Meaning::QUESTION);
        if (question == nullptr) return false;
        const Query* query = FindQuery(question->letter, static_cast<UInt32>(GetArgument(*question)));
        if (query == nullptr) return false;
        if (_outcome.hasFailed) return true;  // it has written nothing
        const Parameter& answer = *_event.function->Find(Meaning::ANSWER);
        const Parameter& size = *_event.function->Find(Meaning::WRITTEN);
        const auto* value = reinterpret_cast<const void*>(GetArgument(answer));
        const auto* written = reinterpret_cast<const size_t*>(GetArgument(size));
        const size_t room = GetArgument(*_event.function->Find(Meaning::ROOM));
        _parameter = {answer.name, query->meaning, query->kind};
        if (value != nullptr) AddAnswer(*query, value, written != nullptr ? std::min(room, *written) : room);
        _parameter = {size.name};
        if (written != nullptr) AddNumber(*written);
        return true;
    }

    /// What the call was given for the parameter; 0 when the code of its arguments is unknown.
    UInt64 GetArgument(const Parameter& parameter) const {
        const Value* argument = _event.arguments->Find(parameter.name);
        return argument != nullptr ? argument->raw : 0;
    }

    void AddAnswer(const Query& query, const void* value, size_t size) {
        const TraceLetter& letter = GetAnswerLetter(query.code.back());
        if (letter.type == LetterType::TEXT) {
            const std::string_view text(static_cast<const char*>(value), size);
            return AddText(text.substr(0, text.find('\0')), Form::TEXT, _parameter.name);
        }
        const size_t width = letter.type == LetterType::UINT32 ? sizeof(cl_uint) : sizeof(cl_ulong);
        static_assert(sizeof(size_t) == sizeof(cl_ulong) && sizeof(void*) == sizeof(cl_ulong));
        Elements elements(value);
        if (query.code.front() == 'a')
            AddList(letter, size / width, elements);
        else if (size >= width)
            AddElement(letter, elements);
    }

    template <class Source>
    void AddElement(const TraceLetter& letter, Source& source) {
        switch (letter.type) {
            case LetterType::INT32:
                return AddInteger(source.template Take<cl_int>());
            case LetterType::UINT32:
                return AddWord(letter, source.template Take<cl_uint>());
            case LetterType::SIZE:
                return AddNumber(source.template Take<size_t>());
            case LetterType::UINT64:
                return AddLongWord(letter, source.template Take<cl_ulong>());
            case LetterType::FLOAT32:
                return AddNumber(source.template Take<cl_float>());
            case LetterType::FLOAT64:
                return AddNumber(source.template Take<cl_double>());
            case LetterType::POINTER:
            case LetterType::TEXT:
            case LetterType::PROPERTIES:
                return AddHandleOrAddress(source.template Take<const void*>());
        }
    }

    void AddInteger(cl_int value) {
        if (_isUnsigned) return AddNumber(static_cast<cl_uint>(value));
        if (_parameter.meaning != Meaning::ERROR) return AddNumber(value);
        _outcome.hasFailed = value != CL_SUCCESS;
        const std::string_view name = FindErrorName(value);
        // The names of the module's own codes: a runtime means something else by these.
        if (!name.starts_with("CL_")) return AddNumber(value);
        AddText(name, Form::WORD, _parameter.name);
    }

    void AddWord(const TraceLetter& letter, cl_uint value) {
        if (letter.kind == LetterKind::PLAIN) return AddNumber(value);
        const std::string_view name = FindName(letter, value);
        if (!name.empty())
            AddText(name, Form::WORD, _parameter.name, value);
        else if (letter.letter == 'b')
            AddNumber(value);
        else
            AddHexadecimal(value);
    }

    void AddLongWord(const TraceLetter& letter, cl_ulong value) {
        if (letter.kind == LetterKind::PLAIN && _parameter.meaning != Meaning::DEVICE_TYPE)
            return AddNumber(value);
        Value& added = _values.Add(_parameter.name, Form::WORD);
        AppendBits(_values.GetTexts(), letter.letter, value);
        _values.End(added);
    }

    void AddHexadecimal(UInt64 value) {
        Value& added = _values.Add(_parameter.name, Form::WORD, value);
        AppendHexadecimal(_values.GetTexts(), value);
        _values.End(added);
    }

    void AddPointer(const void* pointer) {
        if (pointer != nullptr)
            AddHexadecimal(reinterpret_cast<UInt64>(pointer));
        else
            _values.Add(_parameter.name, Form::NOTHING);
    }

    void AddHandleOrAddress(const void* pointer) {
        if (_parameter.meaning == Meaning::ADDRESS) _outcome.hasFailed = pointer == nullptr;
        if (_parameter.meaning == Meaning::IMAGE_FORMAT && pointer != nullptr)
            return AddImageFormat(*static_cast<const cl_image_format*>(pointer));
        if (_parameter.meaning == Meaning::NUMBER) return AddNumber(reinterpret_cast<UInt64>(pointer));
        if (pointer == nullptr || _parameter.meaning != Meaning::HANDLE) return AddPointer(pointer);
        AddHandle(_handles.Find(_parameter.kind, pointer));
    }

    void AddCreated(const void* handle) {
        if (handle == nullptr) return AddPointer(handle);
        _outcome.created = &_handles.Create(_parameter.kind, handle);
        if (const Parameter* label = _event.function->Find(Meaning::LABEL))
            if (const Value* name = _event.arguments->Find(label->name); name != nullptr && name->size > 0)
                _outcome.created->SetName(_event.arguments->GetText(*name));
        AddHandle(*_outcome.created);
    }

    void AddHandle(const Handles::Object& object) {
        Value& added = _values.Add(_parameter.name, object.isPlain ? Form::WORD : Form::LABEL,
                                   reinterpret_cast<UInt64>(object.address));
        _values.GetTexts() += object.label;
        _values.End(added);
    }

    void AddString(const char* text) {
        if (text == nullptr) return AddPointer(text);
        // The names of OpenCL C's types are known, and the only ones to come by the thousand.
        constexpr std::string_view kTypes[] = {"cl_mem", "cl_int", "cl_uint", "cl_float", "cl_double"};
        const bool isType = std::ranges::find(kTypes, text) != std::end(kTypes);
        _isUnsigned = std::string_view(text) == "cl_uint";
        AddText(text, isType ? Form::WORD : Form::TEXT, _parameter.name);
    }

    void AddImageFormat(const cl_image_format& format) {
        _values.Add(_parameter.name, Form::LIST).count = 2;
        _parameter = {};
        AddWord(GetAnswerLetter('o'), format.image_channel_order);
        AddWord(GetAnswerLetter('t'), format.image_channel_data_type);
    }

    void AddText(std::string_view text, Form form, std::string_view name, UInt64 raw = 0) {
        Value& added = _values.Add(name, form, raw);
        _values.GetTexts() += text;
        _values.End(added);
    }

    void AddProperties(const cl_context_properties* list) {
        if (list == nullptr) return AddPointer(list);
        UInt32 count = 0;
        while (count < kLongestList && list[count] != 0) count += 2;
        _values.Add(_parameter.name, Form::PAIRS).count = count;
        for (UInt32 i = 0; i < count; i += 2) {
            _parameter = {};
            const auto key = static_cast<UInt64>(list[i]);
            const std::string_view name = FindConstant('r', key);
            if (name.empty())
                AddHexadecimal(key);
            else
                AddText(name, Form::WORD, {});
            if (list[i] == CL_CONTEXT_PLATFORM) _parameter = {{}, Meaning::HANDLE, ObjectKind::PLATFORM};
            AddHandleOrAddress(reinterpret_cast<const void*>(list[i + 1]));
        }
    }

    template <class T>
    void AddNumber(T value) {
        if constexpr (std::is_floating_point_v<T>)
            if (!std::isfinite(value))
                return AddText(std::isnan(value) ? "nan"
                               : value > 0       ? "inf"
                                                 : "-inf",
                               Form::WORD, _parameter.name);
        char digits[32];
        const char* end = std::to_chars(digits, std::end(digits), value).ptr;
        UInt64 raw = 0;
        if constexpr (std::is_integral_v<T>) raw = static_cast<UInt64>(value);
        AddText({digits, static_cast<size_t>(end - digits)}, Form::NUMBER, _parameter.name, raw);
    }

    const Event& _event;
    Handles& _handles;
    Values& _values;
    Parameter _parameter;
    bool _isUnsigned = false;  ///< values of the letter 'i' are cl_uint: the type name before them says so
    Outcome _outcome;
};

}  // namespace

Outcome Decode(const Event& event, va_list arguments, Handles& handles, Values& values) {
    Arguments copy(arguments);
    return Decoder(event, handles, values).Run(copy);
}

}  // namespace nuvra::host
