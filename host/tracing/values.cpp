#include "values.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>

namespace nuvra::host {

namespace {

constexpr size_t kReadableText = 120;  // bytes of a text in a line for people

/// Writes values in order, lists with their elements.
template <bool IsJson>
class Writer {
public:
    Writer(std::string& out, const Values& values)
        : _out(out), _values(values), _next(values.GetList().begin()) {}

    void WriteMembers() {
        const auto end = _values.GetList().end();
        for (bool isFirst = true; _next != end; isFirst = false) {
            if (!isFirst) _out += kSeparator;
            WriteName(_next->name);
            Write();
        }
    }

private:
    static constexpr std::string_view kSeparator = IsJson ? "," : ", ";

    /// Names of parameters need no escaping.
    void WriteName(std::string_view name) {
        if constexpr (IsJson) _out += '"';
        _out += name;
        _out += std::string_view(IsJson ? "\":" : "=");
    }

    void Write() {
        const Value& value = *_next++;
        switch (value.form) {
            case Form::NOTHING:
                _out += "null";
                break;
            case Form::NUMBER:
                _out += _values.GetText(value);
                break;
            case Form::WORD:
                WriteWord(_values.GetText(value));
                break;
            case Form::LABEL:
                IsJson ? AppendQuoted(_out, _values.GetText(value))
                       : AppendPlain(_out, _values.GetText(value));
                break;
            case Form::TEXT:
                WriteText(value);
                break;
            case Form::LIST:
                WriteList(value);
                break;
            case Form::PAIRS:
                WritePairs(value);
                break;
        }
    }

    void WriteWord(std::string_view word) {
        if (IsJson) _out += '"';
        _out += word;
        if (IsJson) _out += '"';
    }

    void WriteText(const Value& value) {
        const std::string_view text = _values.GetText(value);
        if (IsJson || text.size() <= kReadableText) return AppendQuoted(_out, text);
        AppendQuoted(_out, text.substr(0, kReadableText));
        _out += "... (" + std::to_string(text.size()) + " bytes)";
    }

    void WriteList(const Value& list) {
        _out += '[';
        for (UInt32 i = 0; i < list.count; i++) {
            if (i > 0) _out += kSeparator;
            Write();
        }
        if (list.omitted > 0) {
            _out += kSeparator;
            WriteWord("... " + std::to_string(list.omitted) + " more");
        }
        _out += ']';
    }

    void WritePairs(const Value& pairs) {
        _out += '{';
        for (UInt32 i = 0; i < pairs.count; i += 2) {
            if (i > 0) _out += kSeparator;
            Write();
            _out += IsJson ? ":" : "=";
            Write();
        }
        _out += '}';
    }

    std::string& _out;
    const Values& _values;
    std::vector<Value>::const_iterator _next;
};

}  // namespace

void AppendQuoted(std::string& out, std::string_view text) {
    using Json = nlohmann::json;
    out += Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
}

void AppendPlain(std::string& out, std::string_view name) {
    std::string quoted;
    AppendQuoted(quoted, name);
    out += quoted.size() == name.size() + 2 ? name : quoted;
}

void AppendJson(std::string& out, const Values& values) {
    out += '{';
    Writer<true>(out, values).WriteMembers();
    out += '}';
}

void AppendReadable(std::string& out, const Values& values) {
    Writer<false>(out, values).WriteMembers();
}

void AppendTime(std::string& out, Int64 nanoseconds, int digits) {
    char text[24];
    const auto* end = std::to_chars(text, std::end(text), nanoseconds).ptr;
    const int size = static_cast<int>(end - text);
    const int whole = std::max(size - digits, 0);
    out.append(text, static_cast<size_t>(whole));
    if (whole == 0) out += '0';
    out += '.';
    out.append(static_cast<size_t>(std::max(digits - size, 0)), '0');
    out.append(text + whole, static_cast<size_t>(size - whole));
}

}  // namespace nuvra::host
