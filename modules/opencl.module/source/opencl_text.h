#pragma once

#include <cstring>

#include "nuvra/base_array.h"
#include "nuvra/opencl_interface_trace.h"
#include "nuvra/string.h"

namespace nuvra {

/// Reads texts that OpenCL gives in two calls, size first, through one scratch buffer.
class TextReader {
public:
    TextReader() = default;
    /// Tells through `isOutOfMemory` when a text was not read for want of memory.
    explicit TextReader(bool* isOutOfMemory) : _isOutOfMemory(isOutOfMemory) {}

    /// `query(size, value, sizeOutput)` makes the call. The text is empty when it cannot be read; a failed
    /// size query leaves the buffer as it was.
    template <class Query>
    String Read(const Query& query) {
        size_t size = 0;
        if (query(0, nullptr, &size) != CL_SUCCESS || !Prepare(size)) return String();
        // A runtime may fail half way: what it then left is no text.
        if (query(size, _buffer.GetFirst(), nullptr) != CL_SUCCESS) Prepare(size);
        return String::FromCText(GetBytes()).GetValue();
    }

    /// The buffer's content up to its first NUL.
    const char* GetBytes() const { return _buffer.IsEmpty() ? "" : _buffer.GetFirst(); }

private:
    /// One byte more than asked for, all zero: a text without its NUL then still ends.
    bool Prepare(size_t size) {
        if (size >= PTRDIFF_MAX || !_buffer.Resize(static_cast<Int>(size) + 1).IsOk()) {
            if (_isOutOfMemory != nullptr) *_isOutOfMemory = true;
            return false;
        }
        std::memset(_buffer.GetFirst(), 0, size + 1);
        return true;
    }

    BaseArray<char> _buffer;
    bool* _isOutOfMemory = nullptr;
};

/// The numbers of "<prefix>MAJOR.MINOR..." as major * 100 + minor * 10. The prefix matches as scanf does: a
/// space stands for any white space. Fails with UNSPECIFIED when two numbers are not read.
Result<Int64> ParseVersion(const char* text, const char* prefix,
                           SourceLocation location = SourceLocation::Here());

/// Replaces `names` by those in a list separated by spaces.
Result<void> SplitExtensions(const char* text, BaseArray<String>& names);

/// Whether one of the names equals `name`.
bool ContainsName(const BaseArray<String>& names, const String& name);

}  // namespace nuvra
