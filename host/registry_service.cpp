#include "registry_service.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "format.h"
#include "no_throw.h"
#include "services.h"

namespace nuvra::host {

namespace {

struct StoredEntry {
    std::string key;
    RegistryEntry::Kind kind;
    const void* value;
    std::string valueId;

    RegistryEntry Get() const { return {kind, value, valueId.c_str()}; }
};

/// By key. Shared with a visitor, which may outlive the removal of the entry.
using Entries = std::map<std::string_view, std::shared_ptr<const StoredEntry>>;

/// The mutex is recursive because a visitor may use the registries. Leaked: objects may outlive static
/// objects.
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
        const char* valueId = entry.valueId != nullptr ? entry.valueId : "";
        const auto stored =
            std::make_shared<const StoredEntry>(StoredEntry{key.GetText(), entry.kind, entry.value, valueId});
        Registries& registries = GetRegistries();
        const std::lock_guard lock(registries.mutex);
        if (!registries.all[registry.GetText()].try_emplace(stored->key, stored).second)
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
    return entry != entries->second.end() ? entry->second->Get() : RegistryEntry();
}

/// The first entry, or the one behind `previous`; null at the end.
std::shared_ptr<const StoredEntry> FindNext(const Registries& registries, const Id& registry,
                                            const StoredEntry* previous) {
    const auto entries = registries.all.find(std::string_view(registry.GetText()));
    if (entries == registries.all.end()) return nullptr;
    const auto next =
        previous == nullptr ? entries->second.begin() : entries->second.upper_bound(previous->key);
    return next != entries->second.end() ? next->second : nullptr;
}

void Enumerate(const Id& registry, void* context,
               void (*visit)(void* context, const Id& key, const RegistryEntry& entry)) noexcept {
    Registries& registries = GetRegistries();
    const std::lock_guard lock(registries.mutex);
    // Looked up anew each time: a visit may change the registry.
    for (auto entry = FindNext(registries, registry, nullptr); entry != nullptr;
         entry = FindNext(registries, registry, entry.get()))
        visit(context, Id(entry->key.c_str()), entry->Get());
}

}  // namespace

constinit const Registry::Operations kRegistryOperations{Add, Remove, Find, Enumerate};

void RemoveRegistryEntries(const std::function<bool(const void* value)>& isGone) {
    Registries& registries = GetRegistries();
    const std::lock_guard lock(registries.mutex);
    for (auto& [name, entries] : registries.all)
        std::erase_if(entries, [&](const auto& item) { return isGone(item.second->value); });
    std::erase_if(registries.all, [](const auto& item) { return item.second.empty(); });
}

}  // namespace nuvra::host
