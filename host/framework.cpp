#include "framework.h"

#include <algorithm>
#include <stdexcept>

#include "core_module.h"
#include "error_service.h"
#include "format.h"
#include "module_order.h"
#include "no_throw.h"
#include "registry_service.h"
#include "services.h"
#include "settings.h"
#include "take_down.h"

namespace nuvra::host {

namespace {

bool NothingStays(const void*) {
    return false;
}

Result<void> RunInitializers(Module& module) {
    for (const InitializerRecord* record : module.initializers) {
        const Result<void> result = record->initialize != nullptr ? record->initialize() : Result<void>();
        if (!result.IsOk())
            return MakeError("the initializer of the module @ failed: @",
                             {module.Describe(), DescribeError(result.GetError())});
        module.initialized++;
    }
    return {};
}

void Expect(const Result<void>& result) {
    if (!result.IsOk()) throw std::logic_error(DescribeError(result.GetError()));
}

bool Exports(const Assembly& assembly, const void* address) {
    return std::any_of(assembly.images.begin(), assembly.images.end(),
                       [&](const auto& image) { return image->Exports(address); });
}

/// Moves the kept images and their modules out of the assembly.
Assembly SplitKept(Assembly& assembly) {
    const auto keptOrder = std::stable_partition(assembly.order.begin(), assembly.order.end(),
                                                 [](const Module* module) { return !module->image.isKept; });
    const auto keptImages = std::stable_partition(assembly.images.begin(), assembly.images.end(),
                                                  [](const auto& image) { return !image->isKept; });
    Assembly kept;
    kept.order.assign(keptOrder, assembly.order.end());
    kept.images.assign(std::move_iterator(keptImages), std::move_iterator(assembly.images.end()));
    assembly.order.erase(keptOrder, assembly.order.end());
    assembly.images.erase(keptImages, assembly.images.end());
    return kept;
}

/// Closes the libraries, the latest first.
void CloseAll(Assembly& assembly) {
    assembly.order.clear();
    while (!assembly.images.empty()) assembly.images.pop_back();
}

}  // namespace

Framework& Framework::Get() {
    static Framework& framework = *new Framework;
    return framework;
}

Framework::Framework() {
    Image& image = *_core.images.emplace_back(std::make_unique<Image>());
    image.name = "host";
    image.records = &MakeCoreModule();
    Expect(ReadModules(image));
    Module& module = *_core.order.emplace_back(image.modules.front().get());
    // The host is linked into the program and shares its list of references, which must be filled even where
    // the program registers no module.
    Expect(ReadEntities(module, g_references.entities));

    Expect(GetInterfaces().Add(module));
    GetInterfaces().Fill(module, NothingStays);
    Expect(_classes.Add(module));
    Expect(_classes.Register(module));
    FillEntityReferences(module, NothingStays);
    PrepareFallbackError(EntityReference<OutOfMemoryErrorObject, Class>::Get());
}

/// Registers the tracing service with the first host that traces, for good: a loaded module may keep its
/// tracer. Until then a module can implement the service itself.
void Framework::OfferTracing() {
    if (_core.order.size() > 1) return;
    Image& image = *_core.images.front();
    const ModuleRecord& record = MakeTraceModule();
    Module& module = *image.modules.emplace_back(std::make_unique<Module>(image, record));
    Expect(ReadEntities(module, record.sourceUnits->entities));
    Expect(GetInterfaces().Add(module));
    _core.order.push_back(&module);
}

void Framework::Open(Options options) {
    if (_options) throw std::logic_error("a process has one host at a time");
    if (options.tracing != nullptr) OfferTracing();
    _options = std::move(options);
    SetSettings(&*_options);
    TakeDownKept();
}

void Framework::TakeDownKept() {
    if (_isStarted) return;
    for (const auto& image : _kept.images) image->isKept = false;
    Finalize(_kept, true);
    Assembly stillKept = SplitKept(_kept);
    std::swap(_kept, stillKept);
    for (const Assembly* assembly : {&_core, &_kept}) Fill(assembly->order);
    CloseAll(stillKept);
}

void Framework::Close() {
    SetSettings(nullptr);
    _options.reset();
}

Result<void> Framework::Add(std::unique_ptr<Image> image) {
    if (_isStarted) return MakeError("@ comes too late: the host is already started", {image->name});
    if (image->records == nullptr) return MakeError("@ lists no modules", {image->name});
    for (const auto& kept : _kept.images) {
        if (kept->records != image->records) continue;
        const std::string name = kept->GetPrincipal().Describe();
        const Int objects = kept->CountObjects();
        if (objects == 0)
            return MakeError("the module @ is still in use by a module with objects that are alive", {name});
        return MakeError("the module @ is still in use: @ of its objects are alive",
                         {name, std::to_string(objects)});
    }
    _current.images.push_back(std::move(image));
    return {};
}

Result<void> Framework::Start() {
    if (_isStarted) return MakeError("the host is already started", {});
    _isStarted = true;
    Result<void> result = WithoutExceptions([this] { return StartModules(); });
    if (!result.IsOk()) TakeDown();
    return result;
}

Result<void> Framework::StartModules() {
    std::vector<Image*> images{_core.images.front().get()};
    for (const auto& image : _current.images) {
        NUVRA_RETURN_IF_ERROR(ReadModules(*image));
        images.push_back(image.get());
    }
    NUVRA_ASSIGN_OR_RETURN(std::vector<Module*> order, OrderByDependencies(images));
    std::erase_if(order, [&](const Module* module) { return &module->image == images.front(); });
    _current.order = std::move(order);

    for (const Module* module : _current.order) NUVRA_RETURN_IF_ERROR(GetInterfaces().Add(*module));
    for (const Module* module : _current.order) NUVRA_RETURN_IF_ERROR(GetInterfaces().Check(*module));
    NUVRA_RETURN_IF_ERROR(GetInterfaces().CheckCounts(*_core.order.front()));
    for (Module* module : _current.order) NUVRA_RETURN_IF_ERROR(_classes.Add(*module));
    Fill(_core.order);
    Fill(_current.order);
    for (Module* module : _current.order) NUVRA_RETURN_IF_ERROR(_classes.Register(*module));
    Fill(_core.order);
    Fill(_current.order);
    for (Module* module : _current.order) NUVRA_RETURN_IF_ERROR(RunInitializers(*module));
    return {};
}

void Framework::Fill(const std::vector<Module*>& modules) const {
    const auto stays = [this](const void* address) { return Exports(_kept, address); };
    for (const Module* module : modules) {
        GetInterfaces().Fill(*module, stays);
        FillEntityReferences(*module, stays);
    }
}

std::vector<std::string> Framework::TakeDown() {
    Finalize(_current, false);
    RemoveRegistryEntries([this](const void* value) { return Exports(_current, value); });
    _classes.RemoveAllBut(*_core.images.front());
    GetInterfaces().RemoveAllBut(*_core.images.front());

    Assembly kept = SplitKept(_current);
    std::vector<std::string> names;
    for (const auto& image : kept.images) names.emplace_back(image->GetPrincipal().GetId());
    std::move(kept.images.begin(), kept.images.end(), std::back_inserter(_kept.images));
    std::move(kept.order.begin(), kept.order.end(), std::back_inserter(_kept.order));
    // Clear every reference into the images that are closed next.
    for (const Assembly* assembly : {&_core, &_current, &_kept}) Fill(assembly->order);
    CloseAll(_current);
    _isStarted = false;
    return names;
}

}  // namespace nuvra::host
