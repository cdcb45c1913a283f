#pragma once

#include <algorithm>
#include <iterator>
#include <type_traits>

#include "nuvra/module.h"

namespace nuvra::host {

/// A program that uses interfaces of modules is a module itself: the host fills the references that hang in
/// its record. One `constinit` object a program, for `Host::AddProgram`; a `SourceUnit` of the program may
/// join it to implement interfaces.
class Program : public ModuleRecord {
public:
    /// `programName` is for messages.
    template <size_t N>
    constexpr Program(const char* programId, const char* programName, const char* const (&moduleIds)[N])
        : ModuleRecord(programId, 0), name(programName) {
        static_assert(N <= std::extent_v<decltype(_dependencies)>,
                      "more dependencies than there is room for");
        std::ranges::copy(moduleIds, std::begin(_dependencies));
        dependencies = _dependencies;
        dependencyCount = N;
    }
    Program(const Program&) = delete;  // `dependencies` points into the object

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
