#pragma once

#include <memory>
#include <string>
#include <vector>

#include "nuvra/data.h"
#include "nuvra/host/dynamic_library.h"
#include "object_class.h"

namespace nuvra::host {

struct Image;

/// A module with its records sorted by kind, each list in the order of registration.
struct Module {
    explicit Module(Image& owner, const ModuleRecord& moduleRecord) : image(owner), record(moduleRecord) {}

    /// The module's id and where it comes from, for messages.
    std::string Describe() const;
    const char* GetId() const { return record.id.GetText(); }

    Image& image;
    const ModuleRecord& record;
    std::vector<InterfaceRecord*> declarations;
    std::vector<InterfaceRecord*> implementations;
    std::vector<InterfaceRecord*> interfaceReferences;
    std::vector<ReferenceRecord*> entityReferences;  ///< of classes and data types
    std::vector<ClassRecord*> classes;
    std::vector<DataTypeRecord*> dataTypes;
    std::vector<ComponentRecord*> components;
    std::vector<RegistryEntryRecord*> registryEntries;
    std::vector<InitializerRecord*> initializers;
    size_t initialized = 0;  ///< how many of the initializers have run
};

/// A library, or the program itself, with its modules.
struct Image {
    std::string name;        ///< the file, or the program's name for itself
    DynamicLibrary library;  ///< not open where the image is the program
    ModuleRecord* records = nullptr;
    std::vector<std::unique_ptr<Module>> modules;  ///< in the order of registration
    std::vector<std::unique_ptr<Class>> classes;
    std::vector<const void*> exports;  ///< tables, classes and data types that others may have been given
    bool isKept = false;               ///< stays when the rest is taken down

    /// The module that is not a framework compiled in beside it.
    const Module& GetPrincipal() const;
    /// How many objects of the image's classes are alive.
    Int CountObjects() const;
    bool Exports(const void* address) const;
};

/// Reads the image's record chains into its modules. Fails on a record of an unknown kind.
Result<void> ReadModules(Image& image);

/// Sorts entities, the latest first, into the module's lists.
Result<void> ReadEntities(Module& module, EntityRecord* latest);

}  // namespace nuvra::host
