#pragma once

#include <atomic>
#include <cstring>
#include <new>

#include "nuvra/types.h"

namespace nuvra {

/// A hashed text id: a pointer to NUL-terminated text and one 64-bit word to compare first.
///
/// The word is (length << 52) + (hash & (2^51 - 1)), where the hash starts at 0 and takes h * 31 + byte a
/// byte. The length keeps its low twelve bits: longer texts share length fields, so equal words are settled
/// by comparing the texts. Bit 51 marks text that the id owns together with its copies: a 32-bit count stands
/// just before the text. Without the bit, the text is borrowed and must outlive the id.
class Id {
public:
    constexpr Id() = default;

    /// Borrows `text`, NUL-terminated and normally a literal; null or empty gives the empty id.
    constexpr Id(const char* text)  // NOLINT(google-explicit-constructor): ids are written as literals
        : _text(text), _word(HashWord(text)) {}

    constexpr Id(const Id& other) : _text(other._text), _word(other._word) { Retain(); }
    constexpr Id(Id&& other) noexcept : _text(other._text), _word(other._word) {
        other._text = nullptr;
        other._word = 0;
    }
    constexpr Id& operator=(Id other) noexcept {
        const char* text = _text;
        const UInt64 word = _word;
        _text = other._text;
        _word = other._word;
        other._text = text;
        other._word = word;
        return *this;
    }
    constexpr ~Id() { Drop(); }

    /// An id with its own copy of `text`, made by `allocate` and given back to `release` with the last copy
    /// of the id. The empty id when the text is empty or the memory cannot be had.
    static Id Own(const char* text, void* (*allocate)(Int), void (*release)(void*));

    constexpr bool IsEmpty() const { return _word == 0; }
    constexpr UInt64 GetWord() const { return _word; }
    /// Never null; the empty text for the empty id.
    constexpr const char* GetText() const { return _text != nullptr ? _text : ""; }

    friend bool operator==(const Id& a, const Id& b) {
        return ((a._word ^ b._word) & ~kOwned) == 0 &&
               (a._text == b._text || std::strcmp(a.GetText(), b.GetText()) == 0);
    }

private:
    static constexpr UInt64 kOwned = UInt64{1} << 51;
    static constexpr UInt64 kHashMask = kOwned - 1;

    /// Stands just before owned text; the count comes last, so that it touches the text.
    struct Owner {
        void (*release)(void*);
        UInt32 unused = 0;
        std::atomic<UInt32> count{1};
    };
    static_assert(sizeof(Owner) == offsetof(Owner, count) + sizeof(UInt32));

    static constexpr UInt64 HashWord(const char* text) {
        UInt64 hash = 0;
        UInt64 length = 0;
        for (; text != nullptr && text[length] != '\0'; length++)
            hash = hash * 31 + static_cast<unsigned char>(text[length]);
        return (length << 52) + (hash & kHashMask);
    }

    Owner* GetOwner() const { return reinterpret_cast<Owner*>(const_cast<char*>(_text)) - 1; }

    constexpr void Retain() const {
        if ((_word & kOwned) != 0) GetOwner()->count.fetch_add(1, std::memory_order_relaxed);
    }
    constexpr void Drop() const {
        if ((_word & kOwned) == 0) return;
        Owner* owner = GetOwner();
        if (owner->count.fetch_sub(1, std::memory_order_acq_rel) == 1) owner->release(owner);
    }

    const char* _text = nullptr;
    UInt64 _word = 0;
};

inline Id Id::Own(const char* text, void* (*allocate)(Int), void (*release)(void*)) {
    Id id(text);
    if (id.IsEmpty()) return id;
    const size_t size = std::strlen(text) + 1;
    void* memory = allocate(static_cast<Int>(sizeof(Owner) + size));
    if (memory == nullptr) return Id();
    auto* owner = new (memory) Owner{release};
    id._text = static_cast<const char*>(std::memcpy(static_cast<void*>(owner + 1), text, size));
    id._word |= kOwned;
    return id;
}

}  // namespace nuvra
