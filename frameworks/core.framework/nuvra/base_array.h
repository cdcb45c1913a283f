#pragma once

#include <limits>

#include "nuvra/result.h"

namespace nuvra {

/// A growable array in the host's memory. Growing can fail and then changes nothing. Indices
/// are not checked. Elements are moved when the array grows.
template <class T>
class BaseArray {
    static_assert(std::is_nothrow_move_constructible_v<T>);

public:
    BaseArray() = default;
    BaseArray(BaseArray&& other) noexcept
        : _items(std::exchange(other._items, nullptr)),
          _count(std::exchange(other._count, 0)),
          _capacity(std::exchange(other._capacity, 0)) {}
    BaseArray& operator=(BaseArray&& other) noexcept {
        std::swap(_items, other._items);
        std::swap(_count, other._count);
        std::swap(_capacity, other._capacity);
        return *this;
    }
    BaseArray(const BaseArray&) = delete;  // copying can fail: see CopyFrom
    BaseArray& operator=(const BaseArray&) = delete;
    constexpr ~BaseArray() {
        if (_items != nullptr) Reset();
    }

    Int GetCount() const { return _count; }
    bool IsEmpty() const { return _count == 0; }
    /// Null when nothing was ever stored.
    T* GetFirst() { return _items; }
    const T* GetFirst() const { return _items; }
    T& operator[](Int index) { return _items[index]; }
    const T& operator[](Int index) const { return _items[index]; }
    T* begin() { return _items; }
    T* end() { return _items + _count; }
    const T* begin() const { return _items; }
    const T* end() const { return _items + _count; }

    /// New elements are value-initialised. A negative count is the out-of-memory error, and so is one whose
    /// size in bytes overflows.
    Result<void> Resize(Int count) {
        if (count < 0) return OutOfMemoryError();
        if (count > _capacity) NUVRA_RETURN_IF_ERROR(Reserve(count));
        while (_count > count) _items[--_count].~T();
        for (; _count < count; _count++) new (static_cast<void*>(_items + _count)) T();
        return {};
    }

    Result<void> Append(T value) {
        if (_count == _capacity)
            NUVRA_RETURN_IF_ERROR(Reserve(_capacity < 8 ? 8 : _capacity + _capacity / 2));
        new (static_cast<void*>(_items + _count++)) T(std::move(value));
        return {};
    }

    /// Removes one element; those behind it move up.
    void Erase(Int index) {
        for (Int i = index + 1; i < _count; i++) _items[i - 1] = std::move(_items[i]);
        _items[--_count].~T();
    }

    /// Destroys the elements and frees their memory.
    void Reset() {
        for (Int i = _count; i > 0; i--) _items[i - 1].~T();
        _count = 0;
        _capacity = 0;
        System::Free(std::exchange(_items, nullptr));
    }

    /// The elements of `other`, copied; after a failure the array is as it was.
    Result<void> CopyFrom(const BaseArray& other) {
        BaseArray copy;
        if (other._count > 0) NUVRA_RETURN_IF_ERROR(copy.Reserve(other._count));
        for (const T& item : other) new (static_cast<void*>(copy._items + copy._count++)) T(item);
        *this = std::move(copy);
        return {};
    }

private:
    Result<void> Reserve(Int capacity) {
        if (capacity > std::numeric_limits<Int>::max() / static_cast<Int>(sizeof(T)))
            return OutOfMemoryError();
        auto* items = static_cast<T*>(System::Allocate(capacity * static_cast<Int>(sizeof(T))));
        if (items == nullptr) return OutOfMemoryError();
        for (Int i = 0; i < _count; i++) {
            new (static_cast<void*>(items + i)) T(std::move(_items[i]));
            _items[i].~T();
        }
        System::Free(std::exchange(_items, items));
        _capacity = capacity;
        return {};
    }

    T* _items = nullptr;
    Int _count = 0;
    Int _capacity = 0;
};

}  // namespace nuvra
