#include "handles.h"

#include <algorithm>
#include <utility>

#include "constants.h"
#include "values.h"

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

void Handles::Object::SetName(std::string_view text) {
    name = text;
    MakeLabel();
    std::string quoted;
    AppendQuoted(quoted, label);
    isPlain = quoted.size() == label.size() + 2;
}

void Handles::Object::MakeLabel() {
    label = GetKindName(kind);
    label += '#' + std::to_string(number);
    if (!name.empty()) label += ' ' + name;
    label += " (";
    AppendHexadecimal(label, reinterpret_cast<UInt64>(address));
    label += ')';
}

Handles::Object& Handles::Find(ObjectKind kind, const void* address) {
    const auto [entry, isNew] = _objects.try_emplace(MakeKey(kind, address));
    Object& object = entry->second;
    if (isNew) {
        object.kind = kind;
        object.number = ++_numbers[static_cast<size_t>(kind)];
        object.address = address;
        object.MakeLabel();
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

std::vector<const Handles::Object*> Handles::FindLeaks() const {
    std::vector<const Object*> leaks;
    for (const auto& [key, object] : _objects)
        if (object.uses > 0) leaks.push_back(&object);
    std::ranges::sort(leaks, {}, [](const Object* leak) { return std::pair(leak->kind, leak->number); });
    return leaks;
}

}  // namespace nuvra::host
