#include <atomic>
#include <cstdlib>
#include <mutex>
#include <set>

#include "services.h"
#include "settings.h"

namespace nuvra::host {

namespace {

using Count = std::atomic<Int>;

/// The blocks that are allocated. A count that threads share would take as long as an allocation, so each
/// thread has its own, which it alone writes. Leaked: threads may outlive static objects.
struct Counts {
    std::mutex mutex;
    std::set<const Count*> ofThreads;
    Count ofEndedThreads{0};
};

Counts& GetCounts() {
    static Counts& counts = *new Counts;
    return counts;
}

constinit thread_local Count* g_count = nullptr;  // null before a thread's first block and at its very end

struct ThreadCount {
    ThreadCount() {
        const std::lock_guard lock(GetCounts().mutex);
        GetCounts().ofThreads.insert(&count);
        g_count = &count;
    }
    ~ThreadCount() {
        const std::lock_guard lock(GetCounts().mutex);
        GetCounts().ofThreads.erase(&count);
        GetCounts().ofEndedThreads += count;
        g_count = nullptr;
        hasEnded = true;
    }
    ThreadCount(const ThreadCount&) = delete;
    ThreadCount& operator=(const ThreadCount&) = delete;

    Count count{0};
    bool hasEnded = false;
};

[[gnu::noinline]] void CountBlocksSlowly(Int difference) {
    thread_local ThreadCount thread;
    (thread.hasEnded ? GetCounts().ofEndedThreads : thread.count) += difference;
}

void CountBlocks(Int difference) {
    if (g_count == nullptr) return CountBlocksSlowly(difference);
    g_count->store(g_count->load(std::memory_order_relaxed) + difference, std::memory_order_relaxed);
}

void* Allocate(Int size) noexcept {
    if (size <= 0 || !MayAllocate(size)) return nullptr;
    void* block = std::malloc(static_cast<size_t>(size));
    if (block != nullptr) CountBlocks(1);
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
    CountBlocks(-1);
}

}  // namespace

constinit const System::Operations kSystemOperations{Allocate, Reallocate, Free};

Int CountAllocations() {
    const std::lock_guard lock(GetCounts().mutex);
    Int sum = GetCounts().ofEndedThreads;
    for (const Count* count : GetCounts().ofThreads) sum += *count;
    return sum;
}

}  // namespace nuvra::host
