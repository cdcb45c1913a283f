#pragma once

#include "nuvra/interface.h"

namespace nuvra {

/// The host's memory. Everything that lives longer than a call is allocated here, so that a host can count it
/// and can make any allocation fail.
struct System {
    static constexpr Id kId{"nuvra.System#1"};
    static constexpr const char* kHeader = "nuvra/system.h";
    static constexpr bool kOptional = false;

    struct Operations {
        /// `size` bytes aligned for any type, not initialised; null when they cannot be had. A size of 0 or
        /// less gives null.
        void* (*Allocate)(Int size);
        /// The block with its contents at a new size, or null with the old block left as it is. A null
        /// `block` allocates.
        void* (*Reallocate)(void* block, Int size);
        /// Null is allowed.
        void (*Free)(void* block);
    };

    static void* Allocate(Int size) {
        const auto* memory = Table<System>();
        return memory != nullptr ? memory->Allocate(size) : nullptr;
    }
    static void* Reallocate(void* block, Int size) {
        return block == nullptr ? Allocate(size) : Table<System>()->Reallocate(block, size);
    }
    static void Free(void* block) {
        if (block != nullptr) Table<System>()->Free(block);
    }
};

}  // namespace nuvra
