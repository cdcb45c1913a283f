#pragma once

#include <map>
#include <string>

#include "interface_table.h"
#include "module_image.h"

namespace nuvra::host {

/// The components and object classes of the modules at hand, and the building and registering of classes.
class ClassTable {
public:
    /// Fails when an id is already taken, that of a component being the one with its type name.
    Result<void> Add(Module& module);
    /// Builds and registers the module's classes, registers its data types and registry entries. All modules
    /// must have been added. A class with a component that implements an outdated interface is left out,
    /// with its registry entries, and so are the classes derived from it.
    Result<void> Register(Module& module);
    /// Forgets all but the modules of `image`.
    void RemoveAllBut(const Image& image);

private:
    enum class State { ADDED, IN_WORK, AVAILABLE, UNAVAILABLE };
    struct Entry {
        const ClassRecord* record = nullptr;
        Module* module = nullptr;
        State state = State::ADDED;
        const Class* built = nullptr;
    };
    struct Component {
        const ComponentRecord* record = nullptr;
        const Module* module = nullptr;
    };

    /// The component that a class calls by that id.
    Result<const ComponentRecord*> FindComponent(const Entry& entry, const Id& id) const;
    Result<void> Build(Entry& entry);
    /// The state is UNAVAILABLE where the base class is.
    Result<State> StartFromBase(const Entry& entry, Class& built);
    Result<State> AddComponents(const Entry& entry, Class& built);
    Result<void> RegisterEntry(const Module& module, const RegistryEntryRecord& record);

    std::map<std::string, Component, std::less<>> _components;
    std::map<std::string, Entry, std::less<>> _classes;
};

/// Writes the registered classes and data types into the module's references; where there is none the
/// reference becomes null, unless `stays` says that what it holds remains valid.
void FillEntityReferences(const Module& module, const StaysValid& stays);

}  // namespace nuvra::host
