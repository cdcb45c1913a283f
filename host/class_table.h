#pragma once

#include <map>
#include <string>

#include "interface_table.h"
#include "module_image.h"

namespace nuvra::host {

/// The components and object classes of the added modules; builds and registers the classes.
class ClassTable {
public:
    /// Fails when an id is already taken. A component's id is that with its type name.
    Result<void> Add(Module& module);
    /// Builds and registers the module's classes, registers its data types and registry entries. All modules
    /// must have been added. Leaves out a class with a component that implements an outdated interface, the
    /// classes derived from it, and their registry entries.
    Result<void> Register(Module& module);
    /// Removes everything except the modules of `image`.
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

    /// The component that a class names by that id.
    Result<const ComponentRecord*> FindComponent(const Entry& entry, const Id& id) const;
    Result<void> Build(Entry& entry);
    /// The state is UNAVAILABLE where the base class is.
    Result<State> StartFromBase(const Entry& entry, Class& built);
    Result<State> AddComponents(const Entry& entry, Class& built);
    Result<void> RegisterEntry(const Module& module, const RegistryEntryRecord& record);

    std::map<std::string, Component, std::less<>> _components;
    std::map<std::string, Entry, std::less<>> _classes;
};

/// Writes the registered classes and data types into the module's references. A reference to nothing
/// registered becomes null, unless `stays` says that its present value remains valid.
void FillEntityReferences(const Module& module, const StaysValid& stays);

}  // namespace nuvra::host
