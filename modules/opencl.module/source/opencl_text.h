#pragma once

#include <cstring>

#include "nuvra/base_array.h"
#include "nuvra/opencl_interface_trace.h"
#include "nuvra/string.h"

namespace nuvra {

/// Reads texts that OpenCL gives in two calls, size first, through one scratch buffer.
class TextReader {
public:
    /// `query(size, value, sizeOutput)` makes the call. The text, valid until the next one, is empty when the
    /// runtime does not give it; a failed size query leaves the buffer as it was. Fails with the
    /// out-of-memory error.
    template <class Query>
    Result<const char*> ReadBytes(const Query& query) {
        size_t size = 0;
        if (query(0, nullptr, &size) != CL_SUCCESS) return "";
        NUVRA_RETURN_IF_ERROR(Prepare(size));
        // A failing query may have written garbage.
        if (query(size, _buffer.GetFirst(), nullptr) != CL_SUCCESS) std::memset(_buffer.GetFirst(), 0, size);
        return GetBytes();
    }

    /// The buffer's content up to its first NUL.
    const char* GetBytes() const { return _buffer.IsEmpty() ? "" : _buffer.GetFirst(); }

private:
    /// Zeroes the buffer and one byte more, which ends a text that lacks its NUL.
    Result<void> Prepare(size_t size) {
        if (size >= PTRDIFF_MAX) return OutOfMemoryError();
        NUVRA_RETURN_IF_ERROR(_buffer.Resize(static_cast<Int>(size) + 1));
        std::memset(_buffer.GetFirst(), 0, size + 1);
        return {};
    }

    BaseArray<char> _buffer;
};

/// The text as a String; empty when it could not be read or held.
inline String ToString(const Result<const char*>& text) {
    return text.IsOk() ? String::FromCText(text.GetValue()).GetValue() : String();
}

/// The numbers of "<prefix>MAJOR.MINOR..." as major * 100 + minor * 10. The prefix matches as scanf does: a
/// space stands for any white space. Fails with UNSPECIFIED when two numbers are not read.
Result<Int64> ParseVersion(const char* text, const char* prefix,
                           SourceLocation location = SourceLocation::Here());

/// Replaces `names` by those in a list separated by spaces.
Result<void> SplitExtensions(const char* text, BaseArray<String>& names);

/// Whether one of the names equals `name`.
bool ContainsName(const BaseArray<String>& names, const String& name);

}  // namespace nuvra
