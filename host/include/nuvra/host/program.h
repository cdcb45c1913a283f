#pragma once

#include <algorithm>
#include <initializer_list>
#include <iterator>

#include "nuvra/module.h"

namespace nuvra::host {

/// A program that uses interfaces of modules is a module itself: the host fills the references that hang in
/// its record. One `constinit` object a program, for `Host::AddProgram`; a `SourceUnit` of the program may
/// join it to implement interfaces.
class Program : public ModuleRecord {
public:
    /// `programName` is for messages; at most four dependencies.
    constexpr Program(const char* programId, const char* programName,
                      std::initializer_list<const char*> moduleIds)
        : ModuleRecord(programId, 0), name(programName) {
        std::ranges::copy(moduleIds, std::begin(_dependencies));
        dependencies = _dependencies;
        dependencyCount = static_cast<Int>(moduleIds.size());
    }

    /// The list of the program's modules, for the host.
    ModuleRecord* GetModules() {
        if (kind == RecordKind::NONE) {
            Register(_modules, *this, _unit);
            Register(*this, g_references);
            Register(*this, _unit);
        }
        return _modules;
    }

    const char* name;

private:
    Id _dependencies[4];
    SourceUnitRecord _unit{"main"};
    ModuleRecord* _modules = nullptr;
};

}  // namespace nuvra::host
