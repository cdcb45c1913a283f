#include "data_types.h"

#include <charconv>
#include <functional>

namespace nuvra::host {

namespace {

template <class T>
bool AreEqual(const void* a, const void* b) {
    return *static_cast<const T*>(a) == *static_cast<const T*>(b);
}

template <class T>
UInt64 GetHash(const void* value) {
    if constexpr (std::is_same_v<T, String>)
        return static_cast<const T*>(value)->GetHash();
    else
        return std::hash<T>()(*static_cast<const T*>(value));
}

Result<String> MakeText(Bool value) {
    return String::FromCText(value ? "true" : "false");
}

Result<String> MakeText(const String& value) {
    return value;
}

/// Numbers in the shortest form that reads back as the same number.
template <class T>
Result<String> MakeText(T value) {
    char digits[32];
    const char* end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    return String::FromCText({digits, static_cast<size_t>(end - digits)});
}

template <class T>
Result<String> WriteValue(const void* value) {
    if (value == nullptr) return String::FromCText("nullptr");
    return MakeText(*static_cast<const T*>(value));
}

template <class T>
constexpr DataTypeRecord MakeHostDataType() {
    DataTypeRecord record = MakeDataType<T>(AreEqual<T>, GetHash<T>, WriteValue<T>);
    record.liveObjects = nullptr;  // the host's code is never unloaded
    return record;
}

constinit DataTypeRecord g_dataTypes[] = {
    MakeHostDataType<Bool>(),   MakeHostDataType<Int32>(),  MakeHostDataType<UInt32>(),
    MakeHostDataType<Int64>(),  MakeHostDataType<UInt64>(), MakeHostDataType<Float64>(),
    MakeHostDataType<String>(),
};

}  // namespace

std::span<DataTypeRecord> GetDataTypes() {
    return g_dataTypes;
}

}  // namespace nuvra::host
