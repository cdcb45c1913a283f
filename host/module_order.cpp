#include "module_order.h"

#include <algorithm>
#include <map>

#include "format.h"

namespace nuvra::host {

namespace {

/// The graph of which module must start before which.
class ModuleGraph {
public:
    /// Fails when two modules share an id, and when a dependency is missing.
    Result<void> AddDependencies(const std::vector<Module*>& modules) {
        std::map<std::string, Module*> byId;
        for (Module* module : modules) {
            const auto [earlier, isNew] = byId.try_emplace(module->GetId(), module);
            if (!isNew)
                return MakeError("the module @ has the id of another one, in @",
                                 {module->Describe(), earlier->second->image.name});
        }
        for (const Module* module : modules) {
            for (Int i = 0; i < module->record.dependencyCount; i++) {
                const char* dependency = module->record.dependencies[i].GetText();
                const auto found = byId.find(dependency);
                if (found == byId.end())
                    return MakeError("the module @ depends on the module \"@\", which is missing",
                                     {module->Describe(), dependency});
                _needs[module].push_back(found->second);
            }
        }
        return {};
    }

    /// Orders modules after those that implement what they use, unless that closes a cycle. Optional
    /// interfaces go first, so that where two uses form a cycle the tracer's module starts before the module
    /// that it traces, and ends after it.
    void AddUses(const std::vector<Module*>& modules) {
        std::map<std::string, Module*> implementers;
        for (Module* module : modules)
            for (const InterfaceRecord* record : module->implementations)
                implementers[record->id.GetText()] = module;
        for (const UInt32 kind : {UInt32{kOptional}, UInt32{0}}) {
            for (const Module* module : modules) {
                for (const InterfaceRecord* record : module->interfaceReferences) {
                    const auto found = implementers.find(record->id.GetText());
                    if ((record->flags & kOptional) == kind && found != implementers.end() &&
                        !Leads(*found->second, *module))
                        _needs[module].push_back(found->second);
                }
            }
        }
    }

    /// The modules, each after all that it needs, otherwise in the order given. Fails on a cycle.
    Result<std::vector<Module*>> Sort(const std::vector<Module*>& modules) {
        std::vector<Module*> path;
        std::vector<Module*> order;
        for (Module* module : modules) NUVRA_RETURN_IF_ERROR(Visit(*module, path, order));
        return order;
    }

private:
    static bool Contains(const std::vector<Module*>& modules, const Module& module) {
        return std::find(modules.begin(), modules.end(), &module) != modules.end();
    }

    /// Whether a module needs another one, directly or not, or is that one.
    bool Leads(const Module& from, const Module& to) {
        std::vector<const Module*> reached{&from};
        for (size_t next = 0; next < reached.size(); next++)
            for (const Module* needed : _needs[reached[next]])
                if (std::find(reached.begin(), reached.end(), needed) == reached.end())
                    reached.push_back(needed);
        return std::find(reached.begin(), reached.end(), &to) != reached.end();
    }

    Result<void> Visit(Module& module, std::vector<Module*>& path, std::vector<Module*>& order) {
        if (Contains(order, module)) return {};
        if (Contains(path, module)) return Cycle(module, path);
        path.push_back(&module);
        for (Module* needed : _needs[&module]) NUVRA_RETURN_IF_ERROR(Visit(*needed, path, order));
        path.pop_back();
        order.push_back(&module);
        return {};
    }

    static ErrorRef Cycle(const Module& module, const std::vector<Module*>& path) {
        std::string cycle;
        for (auto link = std::find(path.begin(), path.end(), &module); link != path.end(); ++link)
            cycle += std::string((*link)->GetId()) + " -> ";
        cycle += module.GetId();
        return MakeError("the module @ depends on itself: @", {module.Describe(), cycle});
    }

    std::map<const Module*, std::vector<Module*>> _needs;
};

}  // namespace

Result<std::vector<Module*>> OrderByDependencies(std::span<Image* const> images) {
    std::vector<Module*> modules;
    for (const Image* image : images)
        for (const auto& module : image->modules) modules.push_back(module.get());
    ModuleGraph graph;
    NUVRA_RETURN_IF_ERROR(graph.AddDependencies(modules));
    NUVRA_RETURN_IF_ERROR(graph.Sort(modules));
    graph.AddUses(modules);
    return graph.Sort(modules);
}

}  // namespace nuvra::host
