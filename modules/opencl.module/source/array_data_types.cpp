#include "module_records.h"
#include "nuvra/data.h"

/// The array types in which devices and platforms answer.
namespace nuvra {

namespace {

/// Equality, hash and text of an array, made of its elements'.
template <class T>
bool AreArraysEqual(const void* a, const void* b) {
    const auto& first = *static_cast<const BaseArray<T>*>(a);
    const auto& second = *static_cast<const BaseArray<T>*>(b);
    if (first.GetCount() != second.GetCount()) return false;
    for (Int i = 0; i < first.GetCount(); i++)
        if (!(first[i] == second[i])) return false;
    return true;
}

template <class T>
UInt64 HashArray(const void* value) {
    UInt64 hash = 0;
    for (const T& item : *static_cast<const BaseArray<T>*>(value)) {
        if constexpr (std::is_same_v<T, String>)
            hash = hash * 31 + item.GetHash();
        else
            hash = hash * 31 + static_cast<UInt64>(item);
    }
    return hash;
}

template <class T>
Result<String> WriteArray(const void* value) {
    if (value == nullptr) return String::FromCText("nullptr");
    BaseArray<char> text;
    for (const T& item : *static_cast<const BaseArray<T>*>(value)) {
        NUVRA_ASSIGN_OR_RETURN(const Data data, Data::Of(item));
        NUVRA_ASSIGN_OR_RETURN(const String itemText, data.ToText());
        if (!text.IsEmpty()) NUVRA_RETURN_IF_ERROR(text.Append(' '));
        for (const char byte : itemText.GetView()) NUVRA_RETURN_IF_ERROR(text.Append(byte));
    }
    return String::FromCText({text.GetFirst(), static_cast<size_t>(text.GetCount())});
}

constinit DataTypeRecord g_stringArray =
    MakeDataType<BaseArray<String>>(AreArraysEqual<String>, HashArray<String>, WriteArray<String>);
constinit DataTypeRecord g_int64Array =
    MakeDataType<BaseArray<Int64>>(AreArraysEqual<Int64>, HashArray<Int64>, WriteArray<Int64>);

SourceUnit g_unit{g_openCLModule, "array_data_types", {&g_stringArray, &g_int64Array}};

}  // namespace

}  // namespace nuvra
