#include "interface_table.h"

#include "format.h"

namespace nuvra::host {

InterfaceTable& GetInterfaces() {
    static InterfaceTable& table = *new InterfaceTable;  // objects may outlive every static object
    return table;
}

Result<void> InterfaceTable::Add(const Module& module) {
    for (const InterfaceRecord* record : module.declarations) {
        Interface& entry = _interfaces[record->id.GetText()];
        if (entry.declaredCount == 0) entry.declaredCount = record->operationCount;
    }
    for (const InterfaceRecord* record : module.implementations) {
        Interface& entry = _interfaces[record->id.GetText()];
        if (entry.implementation != nullptr)
            return MakeError("the module @ implements the interface \"@\", as the module @ already does",
                             {module.Describe(), record->id.GetText(), entry.implementer->Describe()});
        entry.implementation = record;
        entry.implementer = &module;
    }
    return {};
}

const InterfaceTable::Interface* InterfaceTable::Find(const Id& interfaceId) const {
    const auto found = _interfaces.find(std::string_view(interfaceId.GetText()));
    return found != _interfaces.end() ? &found->second : nullptr;
}

Result<void> InterfaceTable::CheckCount(const Module& module, const InterfaceRecord& record) const {
    const Interface* entry = Find(record.id);
    if (entry == nullptr || entry->implementation == nullptr) return {};
    const Int implemented = entry->implementation->operationCount;
    if (implemented == record.operationCount) return {};
    return MakeError(
        "the module @ expects the interface \"@\" to have @ operations, but it has @ in the "
        "module @",
        {module.Describe(), record.id.GetText(), std::to_string(record.operationCount),
         std::to_string(implemented), entry->implementer->Describe()});
}

Result<void> InterfaceTable::CheckCounts(const Module& module) const {
    for (const auto* records : {&module.declarations, &module.interfaceReferences})
        for (const InterfaceRecord* record : *records) NUVRA_RETURN_IF_ERROR(CheckCount(module, *record));
    return {};
}

Result<void> InterfaceTable::Check(const Module& module) const {
    NUVRA_RETURN_IF_ERROR(CheckCounts(module));
    for (const InterfaceRecord* record : module.interfaceReferences) {
        const Interface* entry = Find(record->id);
        const char* header = record->header != nullptr ? record->header : "";
        const bool isImplemented = entry != nullptr && entry->implementation != nullptr;
        if (!isImplemented && (record->flags & kOptional) == 0)
            return MakeError("the module @ uses the interface \"@\" (@), which no module implements",
                             {module.Describe(), record->id.GetText(), header});
    }
    return {};
}

void InterfaceTable::Fill(const Module& module, const StaysValid& stays) const {
    const auto fill = [&](InterfaceRecord* record) {
        const Interface* entry = Find(record->id);
        const bool isUsable = entry != nullptr && entry->implementation != nullptr &&
                              entry->implementation->operationCount == record->operationCount;
        if (isUsable)
            record->table = entry->implementation->table;
        else if (!stays(record->table))
            record->table = nullptr;
    };
    for (InterfaceRecord* record : module.declarations) fill(record);
    for (InterfaceRecord* record : module.interfaceReferences) fill(record);
}

void InterfaceTable::RemoveAllBut(const Image& image) {
    std::erase_if(_interfaces, [&](const auto& item) {
        return item.second.implementer == nullptr || &item.second.implementer->image != &image;
    });
}

Int InterfaceTable::FindOperationCount(const Id& interfaceId) const {
    const Interface* entry = Find(interfaceId);
    if (entry == nullptr) return 0;
    return entry->implementation != nullptr ? entry->implementation->operationCount : entry->declaredCount;
}

}  // namespace nuvra::host
