#pragma once

#include <string_view>

#include "nuvra/result.h"

namespace nuvra {

/// What a text reference points to: a count, the length in bytes, then the bytes and a NUL.
struct TextBuffer {
    std::atomic<UInt32> count{1};
    Int length = 0;

    const char* GetBytes() const { return reinterpret_cast<const char*>(this + 1); }
    char* GetBytes() { return reinterpret_cast<char*>(this + 1); }
};

/// The common part of `String` and `CString`: shared, immutable, NUL-terminated bytes. The empty text owns
/// nothing.
class Text {
public:
    constexpr Text() = default;
    Text(const Text& other) : _buffer(other._buffer) {
        if (_buffer != nullptr) _buffer->count.fetch_add(1, std::memory_order_relaxed);
    }
    constexpr Text(Text&& other) noexcept : _buffer(std::exchange(other._buffer, nullptr)) {}
    Text& operator=(Text other) noexcept {
        std::swap(_buffer, other._buffer);
        return *this;
    }
    constexpr ~Text() {
        if (_buffer != nullptr) Drop();
    }

    /// Takes over the caller's count; null is the empty text.
    constexpr explicit Text(TextBuffer* buffer) : _buffer(buffer) {}

    /// Valid as long as a reference to this text exists.
    std::string_view GetView() const {
        return _buffer == nullptr ? std::string_view()
                                  : std::string_view(_buffer->GetBytes(), _buffer->length);
    }
    const char* GetChars() const { return _buffer == nullptr ? "" : _buffer->GetBytes(); }
    bool IsEmpty() const { return _buffer == nullptr; }

    friend bool operator==(const Text& a, const Text& b) {
        return a._buffer == b._buffer || a.GetView() == b.GetView();
    }

private:
    void Drop() {
        if (_buffer->count.fetch_sub(1, std::memory_order_acq_rel) == 1) System::Free(_buffer);
    }

    TextBuffer* _buffer = nullptr;
};

/// Text for people: UTF-8.
class String : public Text {
public:
    using Text::Text;

    /// Decodes C text as UTF-8; each invalid byte becomes U+FFFD.
    static inline Result<String> FromCText(std::string_view text);

    /// A hash for tables; equal texts have equal hashes.
    UInt64 GetHash() const {
        UInt64 hash = 14695981039346656037U;  // FNV-1a
        for (const char byte : GetView()) hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211U;
        return hash;
    }
};

/// Text for C interfaces: UTF-8 without embedded NULs.
class CString : public Text {
public:
    using Text::Text;

    static inline Result<CString> FromText(std::string_view text);
};

struct StringInterface {
    static constexpr Id kId{"nuvra.StringInterface#1"};
    static constexpr const char* kHeader = "nuvra/string.h";
    static constexpr bool kOptional = false;

    struct Operations {
        /// Fails with the out-of-memory error. `text` may be null when `length` is 0.
        Result<String> (*Create)(const char* text, Int length);
    };
};

struct CStringInterface {
    static constexpr Id kId{"nuvra.CStringInterface#1"};
    static constexpr const char* kHeader = "nuvra/string.h";
    static constexpr bool kOptional = false;

    struct Operations {
        /// Fails with the out-of-memory error, or when the text holds a NUL.
        Result<CString> (*Create)(const char* text, Int length);
    };
};

Result<String> String::FromCText(std::string_view text) {
    return InvokeStatic<StringInterface, &StringInterface::Operations::Create>(text.data(),
                                                                               static_cast<Int>(text.size()));
}

Result<CString> CString::FromText(std::string_view text) {
    return InvokeStatic<CStringInterface, &CStringInterface::Operations::Create>(
        text.data(), static_cast<Int>(text.size()));
}

/// A text in static memory, whose count never reaches 0.
struct HostlessText : TextBuffer {
    char bytes[17] = "there is no host";
    constexpr HostlessText() { length = sizeof bytes - 1; }
};
inline constinit HostlessText g_hostlessText;

String ErrorRef::GetMessage() const {
    if (!IsHostless()) return Invoke<&ErrorInterface::Operations::GetMessage>(nullptr);
    g_hostlessText.count.fetch_add(1, std::memory_order_relaxed);
    return String(&g_hostlessText);
}
void ErrorRef::SetMessage(const String& message) const {
    if (!IsHostless()) Invoke<&ErrorInterface::Operations::SetMessage>(message);
}

}  // namespace nuvra
