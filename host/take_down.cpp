#include "take_down.h"

#include <algorithm>

#include "nuvra/diagnostic.h"

namespace nuvra::host {

namespace {

Module* FindModule(const Assembly& assembly, const Id& id) {
    for (Module* module : assembly.order)
        if (module->record.id == id) return module;
    return nullptr;
}

/// Marks everything that an image depends on as kept.
void KeepDependencies(const Assembly& assembly, const Image& image, bool isQuiet) {
    for (const auto& module : image.modules) {
        for (Int i = 0; i < module->record.dependencyCount; i++) {
            const Module* needed = FindModule(assembly, module->record.dependencies[i]);
            if (needed == nullptr || needed->image.isKept) continue;  // null: the host itself
            needed->image.isKept = true;
            if (!isQuiet)
                Diagnostic::Write("The module @ stays loaded: the module @ needs it.",
                                  {needed->Describe(), module->Describe()});
            KeepDependencies(assembly, needed->image, isQuiet);
        }
    }
}

void FinalizeModule(Module& module) {
    for (; module.initialized > 0; module.initialized--) {
        const InitializerRecord& record = *module.initializers[module.initialized - 1];
        if (record.finalize != nullptr) record.finalize();
    }
}

}  // namespace

void Finalize(Assembly& assembly, bool isQuiet) {
    std::vector<const Image*> ended;
    for (auto module = assembly.order.rbegin(); module != assembly.order.rend(); ++module) {
        Image& image = (*module)->image;
        const bool hasEnded = std::find(ended.begin(), ended.end(), &image) != ended.end();
        const Int objects = image.CountObjects();
        if (!image.isKept && !hasEnded && objects != 0) {
            image.isKept = true;
            if (!isQuiet)
                Diagnostic::Write("The module @ stays loaded: @ of its objects are still alive.",
                                  {image.GetPrincipal().Describe(), std::to_string(objects)});
            KeepDependencies(assembly, image, isQuiet);
        }
        if (image.isKept) continue;
        ended.push_back(&image);
        FinalizeModule(**module);
    }
}

}  // namespace nuvra::host
