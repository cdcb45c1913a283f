#pragma once

#include <atomic>
#include <initializer_list>

#include "nuvra/id.h"

/// The records through which a library tells the host what it is, what it needs and what it offers.
///
/// Records are `constinit` data. Static initialisation only chains them: modules into the library's exported
/// list, source units into their module, entities into their source unit. The host reads the chains after
/// loading the library and writes the fields marked "filled by the host".
namespace nuvra {

template <class T>
class Result;

enum class RecordKind : UInt32 {
    NONE = 0,            ///< not registered yet
    INTERFACE = 1,       ///< `InterfaceRecord`
    CLASS = 2,           ///< `ClassRecord`, `DataTypeRecord` or `ReferenceRecord`, told apart by their flags
    COMPONENT = 3,       ///< `ComponentRecord`
    SOURCE_UNIT = 4,     ///< `SourceUnitRecord`
    MODULE = 5,          ///< `ModuleRecord`
    INITIALIZER = 6,     ///< `InitializerRecord`
    REGISTRY_ENTRY = 7,  ///< `RegistryEntryRecord`
};

/// What a record of kind INTERFACE or CLASS is; its flags word holds exactly one of the first three.
enum RecordFlags : UInt32 {
    kDeclaration = 1,     ///< an interface that others may use, a class that others may create
    kImplementation = 2,  ///< the operations behind an interface
    kReference = 4,       ///< something used here and found elsewhere
    kDataType = 8,        ///< with kDeclaration or kReference of kind CLASS: a data type, not an object class
    kOptional = 16,       ///< with kReference: may stay empty
};

/// Flags of a module record.
enum ModuleFlags : UInt32 {
    kModuleRegistered = 0x101,  ///< set by registration
    kModuleFramework = 0x1000,  ///< a framework compiled into the library beside its principal module
};

struct Record {
    RecordKind kind = RecordKind::NONE;
    Id id;
    Record* owner = nullptr;
    UInt32 flags = 0;
};

/// Something that a source unit registers.
struct EntityRecord : Record {
    EntityRecord* next = nullptr;
};

/// One source file's entities; the id is the file's base name.
struct SourceUnitRecord : EntityRecord {
    EntityRecord* entities = nullptr;
    constexpr explicit SourceUnitRecord(const char* name)
        : EntityRecord{{RecordKind::SOURCE_UNIT, name}, nullptr} {}
};

/// One module of a library. A library holds one principal module and any number of frameworks.
struct ModuleRecord : Record {
    SourceUnitRecord* sourceUnits = nullptr;  ///< the latest one; the others follow through `next`
    const Id* dependencies = nullptr;
    Int dependencyCount = 0;
    ModuleRecord* next = nullptr;
    ModuleRecord** listHead = nullptr;
    std::atomic<Int>* liveObjects = nullptr;  ///< objects of the library's classes that are alive

    /// A module that depends on no other.
    constexpr ModuleRecord(const char* moduleId, UInt32 moduleFlags)
        : Record{RecordKind::NONE, moduleId, nullptr, moduleFlags} {}

    template <size_t N>
    constexpr ModuleRecord(const char* moduleId, UInt32 moduleFlags, const Id (&moduleDependencies)[N])
        : Record{RecordKind::NONE, moduleId, nullptr, moduleFlags},
          dependencies(moduleDependencies),
          dependencyCount(N) {}
};

/// An interface declared, implemented or referenced. The table is the struct of function pointers in slot
/// order; an implementation brings it, in declarations and references it is filled by the host.
struct InterfaceRecord : EntityRecord {
    const char* header = nullptr;  ///< the header that declares the interface
    const void* table = nullptr;
    Int operationCount;
    Id classId;                                ///< implementations: the class behind the interface
    const char* implementationName = nullptr;  ///< implementations: its C++ name
    Id initialState;                           ///< implementations: "uninitialized"

    constexpr InterfaceRecord(const Id& interfaceId, UInt32 role, const char* declaredIn, Int operations)
        : EntityRecord{{RecordKind::INTERFACE, interfaceId, nullptr, role}, nullptr},
          header(declaredIn),
          operationCount(operations) {}
};

/// A class reference or data type reference, found by its id "REGISTRY:KEY"; `target` is filled by the host
/// (`const Class*` or `const DataTypeRecord*`) and stays null when nothing has that id.
struct ReferenceRecord : EntityRecord {
    const char* header = nullptr;
    const void* target = nullptr;
};

/// An object class: the components of its base class, then its own.
struct ClassRecord : EntityRecord {
    Id baseClass;  ///< empty for none
    /// Each by the id under which it is registered, or by its own where no other component has that.
    const Id* components = nullptr;
    Int componentCount = 0;
};

/// An interface that a component implements, or some of whose operations it overrides (the others are null).
struct ComponentInterface {
    Id id;
    const void* table = nullptr;
    Int operationCount = 0;  ///< as this library was compiled with
};

struct MemberDescription;
template <class T>
class BaseArray;

struct ComponentOperations {
    void (*construct)(void* data);
    void (*destroy)(void* data);
    Result<void> (*copy)(void* to, const void* from);                 ///< null: copying is not supported
    Result<void> (*describe)(BaseArray<MemberDescription>& members);  ///< null: nothing is serialised
};

/// A part of an object class: data and the operations on it. It is registered under its id with the type
/// name (which begins with a dot) appended, so that components of one id may differ by that.
struct ComponentRecord : EntityRecord {
    const char* typeName = nullptr;
    Int size = 0;
    Int alignment = 0;
    const ComponentOperations* operations = nullptr;
    const ComponentInterface* interfaces = nullptr;
    Int interfaceCount = 0;
};

/// Run by the host after every reference is filled, and before anything is unloaded.
struct InitializerRecord : EntityRecord {
    Result<void> (*initialize)() = nullptr;
    void (*finalize)() = nullptr;
};

/// An entry of a registry: the id is "REGISTRY:KEY", the value a class of the same library.
struct RegistryEntryRecord : EntityRecord {
    Id classId;
};

/// How many objects of this library's classes are alive; a library that has any is never unloaded.
inline constinit std::atomic<Int> g_liveObjects{0};

/// The interface, class and data type references of this library. Using one registers it: see interface.h.
inline constinit SourceUnitRecord g_references{"references"};

inline void Register(ModuleRecord*& list, ModuleRecord& module, SourceUnitRecord& unit) {
    module.kind = RecordKind::MODULE;
    module.flags |= kModuleRegistered;
    module.owner = &unit;
    module.liveObjects = &g_liveObjects;
    module.listHead = &list;
    module.next = list;
    list = &module;
}

inline void Register(SourceUnitRecord& unit, EntityRecord& entity) {
    entity.owner = &unit;
    entity.next = unit.entities;
    unit.entities = &entity;
}

inline void Register(ModuleRecord& module, SourceUnitRecord& unit) {
    unit.owner = &module;
    unit.next = module.sourceUnits;
    module.sourceUnits = &unit;
}

/// As a static of a library's main file: chains its modules, in order, into the exported list.
/// It is that file's source unit too, with entities of the principal module.
class ModuleRegistration {
public:
    ModuleRegistration(ModuleRecord*& list, ModuleRecord& principal,
                       std::initializer_list<ModuleRecord*> frameworks, const char* unitName = "main",
                       std::initializer_list<EntityRecord*> entities = {})
        : _unit(unitName) {
        for (EntityRecord* entity : entities) Register(_unit, *entity);
        Register(list, principal, _unit);
        Register(principal, g_references);
        Register(principal, _unit);
        for (ModuleRecord* framework : frameworks) Register(list, *framework, _unit);
    }

private:
    SourceUnitRecord _unit;
};

/// As a static of any source file: chains the file's entities into its module.
class SourceUnit {
public:
    SourceUnit(ModuleRecord& module, const char* name, std::initializer_list<EntityRecord*> entities)
        : _record(name) {
        for (EntityRecord* entity : entities) Register(_record, *entity);
        Register(module, _record);
    }
    /// With all entities of an array.
    template <class Entity, size_t N>
    SourceUnit(ModuleRecord& module, const char* name, Entity (&entities)[N]) : _record(name) {
        for (EntityRecord& entity : entities) Register(_record, entity);
        Register(module, _record);
    }

private:
    SourceUnitRecord _record;
};

}  // namespace nuvra

#if defined(_WIN32)
#define NUVRA_EXPORT __declspec(dllexport)
#else
#define NUVRA_EXPORT __attribute__((visibility("default")))
#endif

/// Once in a library's main file: the library's only exported symbol.
#define NUVRA_EXPORT_MODULES                                   \
    extern "C" {                                               \
    extern NUVRA_EXPORT nuvra::ModuleRecord* g_privateModules; \
    constinit nuvra::ModuleRecord* g_privateModules = nullptr; \
    }                                                          \
    static_assert(true)
