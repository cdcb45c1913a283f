#include <atomic>
#include <cstdlib>

#include "services.h"
#include "settings.h"

namespace nuvra::host {

namespace {

std::atomic<Int> g_blocks{0};

void* Allocate(Int size) noexcept {
    if (size <= 0 || !MayAllocate(size)) return nullptr;
    void* block = std::malloc(static_cast<size_t>(size));
    if (block != nullptr) g_blocks.fetch_add(1, std::memory_order_relaxed);
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
    g_blocks.fetch_sub(1, std::memory_order_relaxed);
}

}  // namespace

constinit const System::Operations kSystemOperations{Allocate, Reallocate, Free};

Int CountAllocations() {
    return g_blocks.load(std::memory_order_relaxed);
}

}  // namespace nuvra::host
