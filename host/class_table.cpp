#include "class_table.h"

#include <cstddef>
#include <optional>

#include "format.h"
#include "services.h"

namespace nuvra::host {

namespace {

constexpr char kClasses[] = "nuvra.Classes";

/// "REGISTRY:KEY" in two; an id without a colon is a class's.
struct RegistryKey {
    explicit RegistryKey(const Id& id) : registry(kClasses), key(id.GetText()) {
        const size_t colon = key.find(':');
        if (colon == std::string::npos) return;
        registry = key.substr(0, colon);
        key.erase(0, colon + 1);
    }

    RegistryEntry Find() const { return kRegistryOperations.Find(registry.c_str(), key.c_str()); }

    Result<void> Add(const Module& module, const RegistryEntry& entry) const {
        const Result<void> result = kRegistryOperations.Add(registry.c_str(), key.c_str(), entry);
        if (result.IsOk()) return {};
        return MakeError("the module @ cannot register \"@\": @",
                         {module.Describe(), entry.valueId, DescribeError(result.GetError())});
    }

    std::string registry;
    std::string key;
};

ErrorRef IdTaken(const Module& module, const Module& other, const char* id) {
    return MakeError("the module @ registers \"@\", as the module @ already does",
                     {module.Describe(), id, other.Describe()});
}

Int AlignUp(Int size, Int alignment) {
    return (size + alignment - 1) / alignment * alignment;
}

}  // namespace

Result<void> CheckInterfaces(const ComponentRecord& component) {
    for (Int i = 0; i < component.interfaceCount; i++) {
        const ComponentInterface& implemented = component.interfaces[i];
        const Int current = GetInterfaces().FindOperationCount(implemented.id);
        if (current == 0 || current == implemented.operationCount) continue;
        const char* module = GetModuleId(component);
        Diagnostic::Write(
            "Interface @ is outdated in module @, "
            "so the module can't define a component which implements the interface.",
            {implemented.id.GetText(), module});
        return MakeError("the interface \"@\" is outdated in the module \"@\"",
                         {implemented.id.GetText(), module});
    }
    return {};
}

Result<void> ClassTable::Add(Module& module) {
    for (const ComponentRecord* record : module.components) {
        const std::string id = GetRegisteredId(*record);
        const auto [taken, isNew] = _components.try_emplace(id, Component{record, &module});
        if (!isNew) return IdTaken(module, *taken->second.module, id.c_str());
    }
    for (const ClassRecord* record : module.classes) {
        const auto [taken, isNew] = _classes.try_emplace(record->id.GetText(), Entry{record, &module});
        if (!isNew) return IdTaken(module, *taken->second.module, record->id.GetText());
    }
    return {};
}

Result<void> ClassTable::Register(Module& module) {
    for (const DataTypeRecord* record : module.dataTypes) {
        const RegistryEntry entry{RegistryEntry::Kind::DATA_TYPE, record, record->id.GetText()};
        NUVRA_RETURN_IF_ERROR(RegistryKey(record->id).Add(module, entry));
        module.image.exports.push_back(record);
    }
    for (const ClassRecord* record : module.classes)
        NUVRA_RETURN_IF_ERROR(Build(_classes.find(std::string_view(record->id.GetText()))->second));
    for (const RegistryEntryRecord* record : module.registryEntries)
        NUVRA_RETURN_IF_ERROR(RegisterEntry(module, *record));
    return {};
}

Result<void> ClassTable::Build(Entry& entry) {
    const char* id = entry.record->id.GetText();
    if (entry.state == State::IN_WORK)
        return MakeError("the module @ has a class \"@\" that is derived from itself",
                         {entry.module->Describe(), id});
    if (entry.state != State::ADDED) return {};
    entry.state = State::IN_WORK;

    auto built = std::make_unique<Class>();
    built->id = id;
    built->liveObjects = entry.module->record.liveObjects;
    NUVRA_ASSIGN_OR_RETURN(entry.state, StartFromBase(entry, *built));
    if (entry.state == State::UNAVAILABLE) return {};
    entry.state = State::IN_WORK;
    NUVRA_ASSIGN_OR_RETURN(entry.state, AddComponents(entry, *built));
    if (entry.state == State::UNAVAILABLE) return {};

    entry.built = built.get();
    entry.module->image.exports.push_back(built.get());
    entry.module->image.classes.push_back(std::move(built));
    return RegistryKey(entry.record->id)
        .Add(*entry.module, {RegistryEntry::Kind::CLASS, entry.built, entry.built->id.c_str()});
}

Result<ClassTable::State> ClassTable::StartFromBase(const Entry& entry, Class& built) {
    if (entry.record->baseClass.IsEmpty()) return State::AVAILABLE;
    const auto base = _classes.find(std::string_view(entry.record->baseClass.GetText()));
    if (base == _classes.end())
        return MakeError("the module @ derives the class \"@\" from \"@\", which no module has",
                         {entry.module->Describe(), built.id, entry.record->baseClass.GetText()});
    NUVRA_RETURN_IF_ERROR(Build(base->second));
    if (base->second.state == State::UNAVAILABLE) return State::UNAVAILABLE;
    built.components = base->second.built->components;
    built.size = base->second.built->size;
    return State::AVAILABLE;
}

Result<const ComponentRecord*> ClassTable::FindComponent(const Entry& entry, const Id& id) const {
    const auto registered = _components.find(std::string_view(id.GetText()));
    if (registered != _components.end()) return registered->second.record;
    const ComponentRecord* found = nullptr;
    for (const auto& [registeredId, component] : _components) {
        if (!(component.record->id == id)) continue;
        if (found != nullptr)
            return MakeError(
                "the module @ makes the class \"@\" of the component \"@\", which may be \"@\" or \"@\"",
                {entry.module->Describe(), entry.record->id.GetText(), id.GetText(), GetRegisteredId(*found),
                 registeredId});
        found = component.record;
    }
    if (found == nullptr)
        return MakeError("the module @ makes the class \"@\" of the component \"@\", which no module has",
                         {entry.module->Describe(), entry.record->id.GetText(), id.GetText()});
    return found;
}

Result<ClassTable::State> ClassTable::AddComponents(const Entry& entry, Class& built) {
    for (Int i = 0; i < entry.record->componentCount; i++) {
        const Id& id = entry.record->components[i];
        NUVRA_ASSIGN_OR_RETURN(const ComponentRecord* found, FindComponent(entry, id));
        const ComponentRecord& record = *found;
        const Int alignment = std::max<Int>(record.alignment, 1);
        if (alignment > static_cast<Int>(alignof(std::max_align_t)))
            return MakeError(
                "the component \"@\" of the module @ needs an alignment of @ bytes; at most @ are "
                "possible",
                {id.GetText(), entry.module->Describe(), std::to_string(alignment),
                 std::to_string(alignof(std::max_align_t))});
        if (!CheckInterfaces(record).IsOk()) return State::UNAVAILABLE;  // said in a diagnostic
        const Int offset = AlignUp(built.size, alignment);
        built.components.push_back({&record, offset});
        built.size = offset + record.size;
    }
    return State::AVAILABLE;
}

Result<void> ClassTable::RegisterEntry(const Module& module, const RegistryEntryRecord& record) {
    const auto found = _classes.find(std::string_view(record.classId.GetText()));
    if (found == _classes.end())
        return MakeError("the module @ registers \"@\" for the class \"@\", which no module has",
                         {module.Describe(), record.id.GetText(), record.classId.GetText()});
    Entry& entry = found->second;
    NUVRA_RETURN_IF_ERROR(Build(entry));
    if (entry.state == State::UNAVAILABLE) return {};
    return RegistryKey(record.id).Add(module,
                                      {RegistryEntry::Kind::CLASS, entry.built, entry.built->id.c_str()});
}

void ClassTable::RemoveAllBut(const Image& image) {
    const auto isGone = [&](const auto& item) { return &item.second.module->image != &image; };
    std::erase_if(_components, isGone);
    std::erase_if(_classes, isGone);
}

void FillEntityReferences(const Module& module, const StaysValid& stays) {
    for (ReferenceRecord* record : module.entityReferences) {
        const auto wanted =
            (record->flags & kDataType) != 0 ? RegistryEntry::Kind::DATA_TYPE : RegistryEntry::Kind::CLASS;
        const RegistryEntry entry = RegistryKey(record->id).Find();
        if (entry.kind == wanted)
            record->target = entry.value;
        else if (!stays(record->target))
            record->target = nullptr;
    }
}

}  // namespace nuvra::host
