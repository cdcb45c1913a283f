#include "text_service.h"

#include "services.h"

namespace nuvra::host {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

/// A new buffer of `length` bytes and a terminating zero; null when out of memory.
TextBuffer* NewBuffer(Int length) {
    if (length > std::numeric_limits<Int>::max() - static_cast<Int>(sizeof(TextBuffer)) - 1) return nullptr;
    void* memory = kSystemOperations.Allocate(static_cast<Int>(sizeof(TextBuffer)) + length + 1);
    if (memory == nullptr) return nullptr;
    auto* buffer = new (memory) TextBuffer;
    buffer->length = length;
    buffer->GetBytes()[length] = '\0';
    return buffer;
}

/// The length of the text's first character, or 0 when that is not UTF-8: an unexpected or missing
/// continuation byte, an overlong form, a surrogate, or a value above U+10FFFF.
size_t GetCharacterLength(std::string_view text) {
    const auto byteAt = [text](size_t index) { return static_cast<unsigned char>(text[index]); };
    const unsigned first = byteAt(0);
    if (first < 0x80) return 1;
    const size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length) return 0;
    for (size_t i = 1; i < length; i++)
        if ((byteAt(i) & 0xC0) != 0x80) return 0;
    const unsigned second = byteAt(1);
    const bool isTooLong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
    const bool isSurrogate = first == 0xED && second >= 0xA0;
    const bool isTooLarge = first == 0xF4 && second >= 0x90;
    return isTooLong || isSurrogate || isTooLarge ? 0 : length;
}

/// Calls `append` with the pieces of the decoded text.
template <class Append>
void Decode(std::string_view text, Append&& append) {
    while (!text.empty()) {
        const size_t length = GetCharacterLength(text);
        append(length == 0 ? kReplacement : text.substr(0, length));
        text.remove_prefix(length == 0 ? 1 : length);
    }
}

std::string_view MakeView(const char* text, Int length) {
    return text == nullptr || length <= 0 ? std::string_view()
                                          : std::string_view(text, static_cast<size_t>(length));
}

Result<String> CreateString(const char* text, Int length) noexcept {
    const std::string_view view = MakeView(text, length);
    if (view.empty()) return String();
    TextBuffer* buffer = NewStringBuffer(view);
    if (buffer == nullptr) return OutOfMemoryError();
    return String(buffer);
}

Result<CString> CreateCString(const char* text, Int length) noexcept {
    const std::string_view view = MakeView(text, length);
    if (view.empty()) return CString();
    if (view.find('\0') != std::string_view::npos)
        return NewError<UnknownErrorObject>("a text for a C interface holds a NUL");
    TextBuffer* buffer = NewBuffer(length);
    if (buffer == nullptr) return OutOfMemoryError();
    view.copy(buffer->GetBytes(), view.size());
    return CString(buffer);
}

}  // namespace

TextBuffer* NewStringBuffer(std::string_view text) {
    Int length = 0;
    Decode(text, [&](std::string_view piece) { length += static_cast<Int>(piece.size()); });
    TextBuffer* buffer = NewBuffer(length);
    if (buffer == nullptr) return nullptr;
    char* end = buffer->GetBytes();
    Decode(text, [&](std::string_view piece) { end += piece.copy(end, piece.size()); });
    return buffer;
}

constinit const StringInterface::Operations kStringOperations{CreateString};
constinit const CStringInterface::Operations kCStringOperations{CreateCString};

}  // namespace nuvra::host
