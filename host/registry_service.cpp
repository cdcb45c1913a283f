#include "registry_service.h"

#include <map>
#include <mutex>
#include <string>

#include "format.h"
#include "no_throw.h"
#include "services.h"

namespace nuvra::host {

namespace {

struct StoredEntry {
    RegistryEntry::Kind kind;
    const void* value;
    std::string valueId;

    RegistryEntry Get() const { return {kind, value, valueId.c_str()}; }
};

using Entries = std::map<std::string, StoredEntry, std::less<>>;

/// The mutex is recursive so that what visits the entries can look others up. Leaked, since objects may
/// outlive static objects.
struct Registries {
    std::recursive_mutex mutex;
    std::map<std::string, Entries, std::less<>> all;
};

Registries& GetRegistries() {
    static Registries& registries = *new Registries;
    return registries;
}

Result<void> Add(const Id& registry, const Id& key, const RegistryEntry& entry) noexcept {
    return WithoutExceptions([&]() -> Result<void> {
        Registries& registries = GetRegistries();
        const std::lock_guard lock(registries.mutex);
        Entries& entries = registries.all[registry.GetText()];
        const bool isNew =
            entries.try_emplace(key.GetText(), StoredEntry{entry.kind, entry.value, entry.valueId}).second;
        if (!isNew)
            return MakeError("the registry \"@\" already has the key \"@\"",
                             {registry.GetText(), key.GetText()});
        return {};
    });
}

void Remove(const Id& registry, const Id& key) noexcept {
    Registries& registries = GetRegistries();
    const std::lock_guard lock(registries.mutex);
    const auto entries = registries.all.find(std::string_view(registry.GetText()));
    if (entries == registries.all.end()) return;
    const auto entry = entries->second.find(std::string_view(key.GetText()));
    if (entry != entries->second.end()) entries->second.erase(entry);
}

RegistryEntry Find(const Id& registry, const Id& key) noexcept {
    Registries& registries = GetRegistries();
    const std::lock_guard lock(registries.mutex);
    const auto entries = registries.all.find(std::string_view(registry.GetText()));
    if (entries == registries.all.end()) return {};
    const auto entry = entries->second.find(std::string_view(key.GetText()));
    return entry != entries->second.end() ? entry->second.Get() : RegistryEntry();
}

void Enumerate(const Id& registry, void* context,
               void (*visit)(void* context, const Id& key, const RegistryEntry& entry)) noexcept {
    Registries& registries = GetRegistries();
    const std::lock_guard lock(registries.mutex);
    const auto entries = registries.all.find(std::string_view(registry.GetText()));
    if (entries == registries.all.end()) return;
    for (const auto& [key, entry] : entries->second) visit(context, Id(key.c_str()), entry.Get());
}

}  // namespace

constinit const Registry::Operations kRegistryOperations{Add, Remove, Find, Enumerate};

void RemoveRegistryEntries(const std::function<bool(const void* value)>& isGone) {
    Registries& registries = GetRegistries();
    const std::lock_guard lock(registries.mutex);
    for (auto& [name, entries] : registries.all)
        std::erase_if(entries, [&](const auto& item) { return isGone(item.second.value); });
    std::erase_if(registries.all, [](const auto& item) { return item.second.empty(); });
}

}  // namespace nuvra::host
