#pragma once

#include "nuvra/data.h"

namespace nuvra {

class AnyRef;

/// One serialised member of a component.
struct MemberDescription {
    Id name;
    Id dataType;  ///< "nuvra.DataTypes:..."
    Int offset = 0;
};

/// Objects made of components.
struct ObjectInterface {
    static constexpr Id kId{"nuvra.ObjectInterface#1"};
    static constexpr const char* kHeader = "nuvra/registry.h";
    static constexpr bool kOptional = false;
    using Object = nuvra::Object;

    /// An interface of an object: its operations, and the data of the component that has them.
    struct Binding {
        const void* table = nullptr;
        void* component = nullptr;
    };

    struct Operations {
        void (*Destroy)(Object* object);
        /// A new object; fails with the out-of-memory error, or the null-pointer error for a null class.
        Result<AnyRef> (*Create)(const Class* objectClass);
        /// A new object with each component copied. Fails with the function-not-implemented error where a
        /// component cannot be copied.
        Result<AnyRef> (*Copy)(const Object* object);
        /// The first component of the object that implements the interface; empty when none does.
        Binding (*FindInterface)(Object* object, const Id& interfaceId);
        /// Appends the serialised members of the class's components. Fails when a component implements an
        /// outdated interface.
        Result<void> (*DescribeMembers)(const Class* objectClass, BaseArray<MemberDescription>& members);
    };
};

/// A reference to an object of any class.
class AnyRef : public ObjectRef<ObjectInterface> {
public:
    using ObjectRef::ObjectRef;
    AnyRef() = default;

    Result<AnyRef> Copy() const { return Invoke<&ObjectInterface::Operations::Copy>(); }
};

/// A reference to an object of any class that implements interface I, whose operations take the data of the
/// component that has them. A derived class adds the operations by name.
template <class I>
class VirtualRef {
public:
    VirtualRef() = default;
    /// Empty when the object does not implement the interface.
    explicit VirtualRef(const AnyRef& object) : _object(object) {
        if (!_object) return;
        const auto binding =
            InvokeStatic<ObjectInterface, &ObjectInterface::Operations::FindInterface>(object.Get(), I::kId);
        _operations = static_cast<const typename I::Operations*>(binding.table);
        _component = binding.component;
        if (_operations == nullptr) _object = nullptr;
    }

    explicit operator bool() const { return static_cast<bool>(_object); }
    const AnyRef& GetObject() const { return _object; }
    friend bool operator==(const VirtualRef& a, const VirtualRef& b) { return a._object == b._object; }

protected:
    template <auto Operation, class... A>
    decltype(auto) Invoke(A&&... arguments) const {
        using R = decltype((_operations->*Operation)(_component, std::forward<A>(arguments)...));
        if (!_object) [[unlikely]]
            return EmptyReference<R>::Answer();
        return (_operations->*Operation)(_component, std::forward<A>(arguments)...);
    }

private:
    AnyRef _object;
    const typename I::Operations* _operations = nullptr;
    void* _component = nullptr;
};

/// What a registry holds under a key.
struct RegistryEntry {
    enum class Kind : UInt32 { NONE, CLASS, DATA_TYPE };
    Kind kind = Kind::NONE;
    const void* value = nullptr;  ///< `const Class*` or `const DataTypeRecord*`
    const char* valueId = "";     ///< the value's own id, for people; of an entry found, gone with the entry
};

/// Registries by id, each a table from key to entry: "nuvra.Classes", "nuvra.DataTypes" and those that
/// modules define. A record's id "REGISTRY:KEY" names both.
struct Registry {
    static constexpr Id kId{"nuvra.Registry#1"};
    static constexpr const char* kHeader = "nuvra/registry.h";
    static constexpr bool kOptional = false;

    struct Operations {
        /// Fails when the key is taken. The ids are copied; a null `valueId` is the empty one.
        Result<void> (*Add)(const Id& registry, const Id& key, const RegistryEntry& entry);
        void (*Remove)(const Id& registry, const Id& key);
        /// An empty entry when there is no such registry or key.
        RegistryEntry (*Find)(const Id& registry, const Id& key);
        /// Calls `visit` for every entry in the order of the keys' texts. `visit` may add and remove entries,
        /// also the one that it visits. A removed entry is not visited any more; an added one is, if its key
        /// comes later in the order. Key and entry are valid until `visit` returns.
        /// Throwing there ends the process.
        void (*Enumerate)(const Id& registry, void* context,
                          void (*visit)(void* context, const Id& key, const RegistryEntry& entry));
    };

    /// The class under the key, or null.
    static const Class* FindClass(const Id& registry, const Id& key) {
        const RegistryEntry entry = InvokeStatic<Registry, &Operations::Find>(registry, key);
        return entry.kind == RegistryEntry::Kind::CLASS ? static_cast<const Class*>(entry.value) : nullptr;
    }
};

}  // namespace nuvra
