#pragma once

#include <array>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "nuvra/types.h"

namespace nuvra::host {

enum class ObjectKind {
    NONE,
    PLATFORM,
    DEVICE,
    CONTEXT,
    QUEUE,
    BUFFER,
    IMAGE,
    MEMORY,  ///< a memory object whose creation was not traced
    PROGRAM,
    KERNEL,
    EVENT,
};

/// The objects behind handles, numbered by kind in the order in which they appear. A number is never given
/// again; addresses are.
class Handles {
public:
    struct Object {
        ObjectKind kind = ObjectKind::NONE;
        UInt32 number = 0;
        const void* address = nullptr;
        std::string name{};   ///< given by the program, any bytes; mostly empty
        std::string label{};  ///< "kernel#3 ScaleBicubic (0x5581c0)"
        bool isPlain = true;  ///< neither needs escaping in JSON
        int uses = 0;         ///< how often it was created and not released; 0 for what was only seen
        std::string maker{};  ///< the call that created it, where that is kept

        /// Replaces the name.
        void SetName(std::string_view text);

    private:
        friend class Handles;
        void MakeLabel();
    };
    struct Key {
        ObjectKind space = ObjectKind::NONE;
        const void* address = nullptr;
        friend bool operator==(const Key&, const Key&) = default;
    };
    struct Hash {
        size_t operator()(const Key& key) const {
            return std::hash<const void*>()(key.address) * 31 + static_cast<size_t>(key.space);
        }
    };
    using Map = std::unordered_map<Key, Object, Hash>;

    /// The object at the address; a new one when there is none.
    Object& Find(ObjectKind kind, const void* address);
    /// Counts the object as created.
    Object& Create(ObjectKind kind, const void* address);
    /// Forgets one creation before the release call: when that returns, the runtime may already have reused
    /// the address for another thread. Empty unless it was the last one.
    Map::node_type BeginRelease(ObjectKind kind, const void* address);
    /// Undoes `BeginRelease` after a failed release.
    void UndoRelease(Map::node_type released);

    /// What was created and not released, by kind and number.
    std::vector<const Object*> FindLeaks() const;
    /// How many objects were created.
    Int CountCreated() const { return _created; }

private:
    Map _objects;
    std::array<UInt32, static_cast<size_t>(ObjectKind::EVENT) + 1> _numbers{};
    Int _created = 0;
};

/// "buffer"
std::string_view GetKindName(ObjectKind kind);

}  // namespace nuvra::host
