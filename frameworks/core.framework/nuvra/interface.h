#pragma once

#include "nuvra/module.h"

/// How a caller reaches an interface: a reference record, registered by being used.
///
/// An interface is a struct with `kId`, `kHeader`, `kOptional` and a nested struct `Operations` of function
/// pointers in slot order.
namespace nuvra {

template <class I>
inline constexpr Int kOperationCount = sizeof(typename I::Operations) / sizeof(void (*)());

/// The library's one reference record of interface I. It is constant-initialised; only a library that asks
/// for the table instantiates, and so registers, it.
template <class I>
class InterfaceReference {
public:
    /// The interface's operations; null before the host has filled it and where nothing implements it.
    static const typename I::Operations* Table() {
        static_cast<void>(&_registered);
        return static_cast<const typename I::Operations*>(_record.table);
    }

private:
    static inline constinit InterfaceRecord _record{
        I::kId, kReference | (I::kOptional ? UInt32{nuvra::kOptional} : 0), I::kHeader, kOperationCount<I>};
    static inline const bool _registered = (Register(g_references, _record), true);
};

template <class I>
const typename I::Operations* Table() {
    return InterfaceReference<I>::Table();
}

/// The library's one reference record of a class or data type T, which has `kId` and `kHeader`.
template <class T, class Target>
class EntityReference {
public:
    /// Null where nothing is registered under the id.
    static const Target* Get() {
        static_cast<void>(&_registered);
        return static_cast<const Target*>(_record.target);
    }

private:
    static inline constinit ReferenceRecord _record{
        {{RecordKind::CLASS, T::kId, nullptr, T::kReferenceFlags}, nullptr}, T::kHeader, nullptr};
    static inline const bool _registered = (Register(g_references, _record), true);
};

/// A record for an interface that other modules may use.
template <class I>
constexpr InterfaceRecord DeclareInterface() {
    return {I::kId, kDeclaration, I::kHeader, kOperationCount<I>};
}

/// A record for the operations behind interface I; `table` must outlive the library.
template <class I>
constexpr InterfaceRecord ImplementInterface(const Id& classId, const char* name,
                                             const typename I::Operations& table) {
    InterfaceRecord record{I::kId, kImplementation, I::kHeader, kOperationCount<I>};
    record.table = &table;
    record.classId = classId;
    record.implementationName = name;
    record.initialState = "uninitialized";
    return record;
}

}  // namespace nuvra
