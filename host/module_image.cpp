#include "module_image.h"

#include <algorithm>

#include "format.h"

namespace nuvra::host {

namespace {

/// A record chain in the order of registration.
template <class T>
std::vector<T*> ReadChain(T* latest) {
    std::vector<T*> chain;
    for (T* record = latest; record != nullptr; record = static_cast<T*>(record->next))
        chain.push_back(record);
    std::reverse(chain.begin(), chain.end());
    return chain;
}

ErrorRef UnknownRecord(const Module& module, const Record& record) {
    const std::string kind = std::to_string(static_cast<UInt32>(record.kind));
    const std::string flags = std::to_string(record.flags);
    return MakeError("the module @ has a record \"@\" of the unknown kind @ with flags @",
                     {module.Describe(), record.id.GetText(), kind, flags});
}

bool SortInterface(Module& module, EntityRecord& entity) {
    auto* record = static_cast<InterfaceRecord*>(&entity);
    switch (entity.flags & (kDeclaration | kImplementation | kReference)) {
        case kDeclaration:
            module.declarations.push_back(record);
            return true;
        case kImplementation:
            module.implementations.push_back(record);
            module.image.exports.push_back(record->table);
            return true;
        case kReference:
            module.interfaceReferences.push_back(record);
            return true;
        default:
            return false;
    }
}

bool SortClass(Module& module, EntityRecord& entity) {
    switch (entity.flags & (kDeclaration | kReference | kDataType)) {
        case kDeclaration:
            module.classes.push_back(static_cast<ClassRecord*>(&entity));
            return true;
        case kDeclaration | kDataType:
            module.dataTypes.push_back(static_cast<DataTypeRecord*>(&entity));
            return true;
        case kReference:
        case kReference | kDataType:
            module.entityReferences.push_back(static_cast<ReferenceRecord*>(&entity));
            return true;
        default:
            return false;
    }
}

/// False for a record of an unknown kind.
bool SortEntity(Module& module, EntityRecord& entity) {
    switch (entity.kind) {
        case RecordKind::INTERFACE:
            return SortInterface(module, entity);
        case RecordKind::CLASS:
            return SortClass(module, entity);
        case RecordKind::COMPONENT:
            module.components.push_back(static_cast<ComponentRecord*>(&entity));
            return true;
        case RecordKind::INITIALIZER:
            module.initializers.push_back(static_cast<InitializerRecord*>(&entity));
            return true;
        case RecordKind::REGISTRY_ENTRY:
            module.registryEntries.push_back(static_cast<RegistryEntryRecord*>(&entity));
            return true;
        default:
            return false;
    }
}

}  // namespace

std::string Module::Describe() const {
    return '"' + std::string(GetId()) + "\" (" + image.name + ")";
}

const Module& Image::GetPrincipal() const {
    for (const auto& module : modules)
        if ((module->record.flags & kModuleFramework) == 0) return *module;
    return *modules.front();
}

Int Image::CountObjects() const {
    const std::atomic<Int>* liveObjects = records->liveObjects;
    return liveObjects != nullptr ? liveObjects->load(std::memory_order_acquire) : 0;
}

bool Image::Exports(const void* address) const {
    return std::find(exports.begin(), exports.end(), address) != exports.end();
}

Result<void> ReadEntities(Module& module, EntityRecord* latest) {
    for (EntityRecord* entity : ReadChain(latest))
        if (!SortEntity(module, *entity)) return UnknownRecord(module, *entity);
    return {};
}

Result<void> ReadModules(Image& image) {
    for (const ModuleRecord* record : ReadChain(image.records)) {
        Module& module = *image.modules.emplace_back(std::make_unique<Module>(image, *record));
        if (record->kind != RecordKind::MODULE) return UnknownRecord(module, *record);
        for (SourceUnitRecord* unit : ReadChain(record->sourceUnits)) {
            if (unit->kind != RecordKind::SOURCE_UNIT) return UnknownRecord(module, *unit);
            NUVRA_RETURN_IF_ERROR(ReadEntities(module, unit->entities));
        }
    }
    return {};
}

}  // namespace nuvra::host
