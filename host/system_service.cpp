#include <cstdlib>

#include "block_count.h"
#include "services.h"
#include "settings.h"

namespace nuvra::host {

namespace {

void* Allocate(Int size) noexcept {
    if (size <= 0 || !MayAllocate(size)) return nullptr;
    void* block = std::malloc(static_cast<size_t>(size));
    if (block != nullptr) BlockCount::Add(1);
    return block;
}

void* Reallocate(void* block, Int size) noexcept {
    if (block == nullptr) return Allocate(size);
    if (size <= 0 || !MayAllocate(size)) return nullptr;
    return std::realloc(block, static_cast<size_t>(size));
}

void Free(void* block) noexcept {
    if (block == nullptr) return;
    std::free(block);
    BlockCount::Add(-1);
}

}  // namespace

constinit const System::Operations kSystemOperations{Allocate, Reallocate, Free};

Int CountAllocations() {
    return BlockCount::Get();
}

}  // namespace nuvra::host
