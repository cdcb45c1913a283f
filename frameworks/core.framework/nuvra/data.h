#pragma once

#include "nuvra/base_array.h"
#include "nuvra/string.h"

namespace nuvra {

/// A data type: what generic code may do with a value that it knows only by address.
struct DataTypeRecord : EntityRecord {
    Int size = 0;
    Int alignment = 0;
    void (*construct)(void* value) = nullptr;
    void (*destroy)(void* value) = nullptr;
    void (*move)(void* to, void* from) = nullptr;                ///< constructs `to`
    Result<void> (*copy)(void* to, const void* from) = nullptr;  ///< assigns to a constructed `to`
    bool (*equal)(const void* a, const void* b) = nullptr;
    UInt64 (*hash)(const void* value) = nullptr;
    Result<String> (*toText)(const void* value) = nullptr;  ///< a null value gives "nullptr"
    std::atomic<Int>* liveObjects = nullptr;                ///< of the library that has the code
};

/// Specialise with `kId` ("nuvra.DataTypes:...") and `kHeader`, and derive from `DataTypeTag`, for each type
/// that is registered.
template <class T>
struct DataTypeTraits;
struct DataTypeTag {
    static constexpr UInt32 kReferenceFlags = kReference | kDataType;
};

#define NUVRA_DATA_TYPE(Type, name)                             \
    template <>                                                 \
    struct DataTypeTraits<Type> : DataTypeTag {                 \
        static constexpr Id kId{"nuvra.DataTypes:nuvra." name}; \
        static constexpr const char* kHeader = "nuvra/data.h";  \
    }
NUVRA_DATA_TYPE(Bool, "Bool");
NUVRA_DATA_TYPE(Int32, "Int32");
NUVRA_DATA_TYPE(UInt32, "UInt32");
NUVRA_DATA_TYPE(Int64, "Int64");
NUVRA_DATA_TYPE(UInt64, "UInt64");
NUVRA_DATA_TYPE(Float64, "Float64");
NUVRA_DATA_TYPE(String, "String");
NUVRA_DATA_TYPE(BaseArray<String>, "StringArray");
NUVRA_DATA_TYPE(BaseArray<Int64>, "Int64Array");

/// The registered data type of T, or null when the host has none.
template <class T>
const DataTypeRecord* GetDataType() {
    return EntityReference<DataTypeTraits<T>, DataTypeRecord>::Get();
}

/// A record that registers T. The three functions are its equality, hash and text.
template <class T>
constexpr DataTypeRecord MakeDataType(bool (*equal)(const void*, const void*), UInt64 (*hash)(const void*),
                                      Result<String> (*toText)(const void*)) {
    DataTypeRecord record;
    record.kind = RecordKind::CLASS;
    record.id = DataTypeTraits<T>::kId;
    record.flags = kDeclaration | kDataType;
    record.size = sizeof(T);
    record.alignment = alignof(T);
    record.construct = [](void* value) { new (value) T(); };
    record.destroy = [](void* value) { static_cast<T*>(value)->~T(); };
    record.move = [](void* to, void* from) { new (to) T(std::move(*static_cast<T*>(from))); };
    record.copy = [](void* to, const void* from) -> Result<void> {
        if constexpr (std::is_copy_assignable_v<T>) {
            *static_cast<T*>(to) = *static_cast<const T*>(from);
            return {};
        } else {
            return static_cast<T*>(to)->CopyFrom(*static_cast<const T*>(from));
        }
    };
    record.equal = equal;
    record.hash = hash;
    record.toText = toText;
    record.liveObjects = &g_liveObjects;
    return record;
}

/// A value of any registered data type of at most 24 bytes, or nothing.
class Data {
public:
    Data() = default;
    Data(Data&& other) noexcept { MoveFrom(other); }
    Data& operator=(Data&& other) noexcept {
        if (this != &other) {
            Reset();
            MoveFrom(other);
        }
        return *this;
    }
    Data(const Data&) = delete;  // copying can fail: see Copy
    Data& operator=(const Data&) = delete;
    ~Data() { Reset(); }

    /// A copy of `value`. Fails when the host has no data type for T, or no memory for the copy.
    template <class T>
    static Result<Data> Of(const T& value) {
        return Make(GetDataType<T>(), &value);
    }

    Result<Data> Copy() const {
        if (_type == nullptr) return Data();
        return Make(_type, _storage);
    }

    bool IsEmpty() const { return _type == nullptr; }
    /// Null for an empty value.
    const DataTypeRecord* GetType() const { return _type; }

    /// The value, or null when it is of another type.
    template <class T>
    const T* Find() const {
        return _type != nullptr && _type == GetDataType<T>() ? reinterpret_cast<const T*>(_storage) : nullptr;
    }

    /// A copy of the value; the wrong-value-type error when it is of another type.
    template <class T>
    Result<T> Get() const {
        const T* value = Find<T>();
        if (value == nullptr) return NewError<WrongValueTypeErrorObject>("the value is of another type");
        return *value;
    }

    /// The value's text; the empty text for an empty value.
    Result<String> ToText() const {
        if (_type == nullptr) return String();
        return _type->toText(_storage);
    }

    void Reset() {
        if (_type == nullptr) return;
        _type->destroy(_storage);
        Count(-1);
        _type = nullptr;
    }

private:
    static Result<Data> Make(const DataTypeRecord* type, const void* value) {
        Data data;
        if (type == nullptr || type->size > kCapacity || type->alignment > kAlignment)
            return NewError<UnknownErrorObject>("the host has no such data type");
        type->construct(data._storage);
        data._type = type;
        data.Count(1);
        NUVRA_RETURN_IF_ERROR(type->copy(data._storage, value));
        return data;
    }

    void MoveFrom(Data& other) {
        if (other._type == nullptr) return;
        _type = other._type;
        _type->move(_storage, other._storage);
        Count(1);
        other.Reset();
    }

    void Count(Int difference) const {
        if (_type->liveObjects != nullptr)
            _type->liveObjects->fetch_add(difference, std::memory_order_acq_rel);
    }

    static constexpr Int kCapacity = 24;
    static constexpr Int kAlignment = 8;
    const DataTypeRecord* _type = nullptr;
    alignas(kAlignment) std::byte _storage[kCapacity];
};

}  // namespace nuvra
