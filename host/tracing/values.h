#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "nuvra/types.h"

namespace nuvra::host {

/// How a value reads.
enum class Form {
    NOTHING,  ///< null
    NUMBER,   ///< written as in JSON
    WORD,     ///< made by the tracer: needs no escaping
    LABEL,    ///< an object's, "kernel#3 Main": the name in it may hold any bytes
    TEXT,     ///< any bytes
    LIST,     ///< the `count` values that follow are its elements
    PAIRS,    ///< the `count` values that follow are keys and values in turn
};

struct Value {
    std::string_view name;  ///< of the parameter; empty in lists
    Form form = Form::NOTHING;
    UInt32 count = 0;    ///< elements of LIST and PAIRS
    UInt64 omitted = 0;  ///< elements of a LIST that were left out
    UInt64 raw = 0;      ///< an integer, an object's address, or where a pointer points
    size_t begin = 0;    ///< where its text begins
    size_t size = 0;
};

/// Values with copies of their texts. Meant for reuse: `Clear` keeps the memory.
class Values {
public:
    Value& Add(std::string_view name, Form form, UInt64 raw = 0) {
        Value& value = _list.emplace_back();
        value.name = name;
        value.form = form;
        value.raw = raw;
        value.begin = _texts.size();
        return value;
    }
    /// Append the text of the value added last here, then call `End`.
    std::string& GetTexts() { return _texts; }
    void End(Value& value) const { value.size = _texts.size() - value.begin; }

    const std::vector<Value>& GetList() const { return _list; }
    std::string_view GetText(const Value& value) const {
        return std::string_view(_texts).substr(value.begin, value.size);
    }
    /// The top-level value of that name, or null.
    const Value* Find(std::string_view name) const {
        for (const Value& value : _list)
            if (value.name == name) return &value;
        return nullptr;
    }
    void Clear() {
        constexpr size_t kKept = 4096;  // do not keep the memory of one long text for ever
        if (_texts.capacity() > kKept) _texts = {};
        if (_list.capacity() > kKept) _list = {};
        _texts.clear();
        _list.clear();
    }

private:
    std::vector<Value> _list;
    std::string _texts;
};

/// Appends a JSON string; invalid UTF-8 becomes U+FFFD.
void AppendQuoted(std::string& out, std::string_view text);

/// Appends a name, as a JSON string only when something in it needs escaping.
void AppendPlain(std::string& out, std::string_view name);

/// Appends `{"NAME":VALUE,...}`.
void AppendJson(std::string& out, const Values& values);

/// Appends "NAME=VALUE, ...", on one line, long texts cut.
void AppendReadable(std::string& out, const Values& values);

/// Appends a time with its fraction: of 1234567 ns, "1234.567" as microseconds (`digits` 3) and "1.234567" as
/// milliseconds (6). Not negative.
void AppendTime(std::string& out, Int64 nanoseconds, int digits);

}  // namespace nuvra::host
