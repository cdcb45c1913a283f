#include "module_order.h"

#include <algorithm>
#include <map>

#include "format.h"

namespace nuvra::host {

namespace {

/// A depth-first walk along the dependencies.
class Walk {
public:
    explicit Walk(const std::map<std::string, Module*>& byId) : _byId(byId) {}

    Result<void> Visit(Module& module) {
        if (std::find(_order.begin(), _order.end(), &module) != _order.end()) return {};
        if (std::find(_path.begin(), _path.end(), &module) != _path.end()) return Cycle(module);
        _path.push_back(&module);
        for (Int i = 0; i < module.record.dependencyCount; i++) {
            const Id& dependency = module.record.dependencies[i];
            const auto found = _byId.find(dependency.GetText());
            if (found == _byId.end())
                return MakeError("the module @ depends on the module \"@\", which is missing",
                                 {module.Describe(), dependency.GetText()});
            NUVRA_RETURN_IF_ERROR(Visit(*found->second));
        }
        _path.pop_back();
        _order.push_back(&module);
        return {};
    }

    const std::vector<Module*>& GetOrder() const { return _order; }

private:
    ErrorRef Cycle(const Module& module) const {
        std::string cycle;
        for (auto link = std::find(_path.begin(), _path.end(), &module); link != _path.end(); ++link)
            cycle += std::string((*link)->GetId()) + " -> ";
        cycle += module.GetId();
        return MakeError("the module @ depends on itself: @", {module.Describe(), cycle});
    }

    const std::map<std::string, Module*>& _byId;
    std::vector<Module*> _path;
    std::vector<Module*> _order;
};

}  // namespace

Result<std::vector<Module*>> OrderByDependencies(std::span<Image* const> images) {
    std::map<std::string, Module*> byId;
    for (const Image* image : images) {
        for (const auto& module : image->modules) {
            const auto [earlier, isNew] = byId.try_emplace(module->GetId(), module.get());
            if (!isNew)
                return MakeError("the module @ has the id of another one, in @",
                                 {module->Describe(), earlier->second->image.name});
        }
    }
    Walk walk(byId);
    for (const Image* image : images)
        for (const auto& module : image->modules) NUVRA_RETURN_IF_ERROR(walk.Visit(*module));
    return walk.GetOrder();
}

}  // namespace nuvra::host
