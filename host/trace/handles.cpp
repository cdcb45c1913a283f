#include "handles.h"

#include <algorithm>
#include <utility>

namespace nuvra::host {

namespace {

constexpr std::string_view kKindNames[] = {
    "object", "platform", "device",  "context", "queue", "buffer",
    "image",  "memory",   "program", "kernel",  "event",
};

/// Memory objects of any kind share their addresses.
Handles::Key MakeKey(ObjectKind kind, const void* address) {
    const bool isMemory = kind == ObjectKind::BUFFER || kind == ObjectKind::IMAGE;
    return {isMemory ? ObjectKind::MEMORY : kind, address};
}

}  // namespace

std::string_view GetKindName(ObjectKind kind) {
    return kKindNames[static_cast<size_t>(kind)];
}

void Handles::Object::AppendLabel(std::string& text) const {
    text += GetKindName(kind);
    text += '#';
    text += std::to_string(number);
    if (name.empty()) return;
    text += ' ';
    text += name;
}

Handles::Object& Handles::Find(ObjectKind kind, const void* address) {
    const auto [entry, isNew] = _objects.try_emplace(MakeKey(kind, address));
    Object& object = entry->second;
    if (isNew) {
        object.kind = kind;
        object.number = ++_numbers[static_cast<size_t>(kind)];
    }
    return object;
}

Handles::Object& Handles::Create(ObjectKind kind, const void* address) {
    Object& object = Find(kind, address);
    object.uses++;
    _created++;
    return object;
}

Handles::Map::node_type Handles::BeginRelease(ObjectKind kind, const void* address) {
    const auto found = _objects.find(MakeKey(kind, address));
    if (found == _objects.end()) return {};
    if (--found->second.uses > 0) return {};
    return _objects.extract(found);
}

void Handles::UndoRelease(Map::node_type released) {
    if (released.empty()) return;
    released.mapped().uses++;
    _objects.insert(std::move(released));
}

std::vector<Handles::Leak> Handles::FindLeaks() const {
    std::vector<Leak> leaks;
    for (const auto& [key, object] : _objects)
        if (object.uses > 0) leaks.push_back({&object, key.address});
    std::ranges::sort(leaks, {},
                      [](const Leak& leak) { return std::pair(leak.object->kind, leak.object->number); });
    return leaks;
}

}  // namespace nuvra::host
