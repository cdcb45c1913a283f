#include <mutex>
#include <vector>

#include "services.h"
#include "settings.h"

namespace nuvra::host {

namespace {

/// Allocated for an object's first weak reference and reused once the object and its last weak reference are
/// gone, so that a block number that a reference holds never means another object.
struct Block {
    ObjectHeader* object = nullptr;
    UInt32 references = 0;  ///< weak references
    UInt32 nextFree = 0;
};

/// Block 0 is unused: a weak word of 0 means no block. Leaked: objects may outlive static objects.
struct Blocks {
    std::mutex mutex;
    std::vector<Block> all = std::vector<Block>(1);
    UInt32 firstFree = 0;

    void FreeIfUnused(UInt32 number) {
        Block& block = all[number];
        if (block.object != nullptr || block.references > 0) return;
        block.nextFree = std::exchange(firstFree, number);
    }
};

Blocks& GetBlocks() {
    static Blocks& blocks = *new Blocks;
    return blocks;
}

UInt32 NewBlock(Blocks& blocks) {
    if (!MayAllocate(sizeof(Block))) return 0;
    if (blocks.firstFree != 0) return std::exchange(blocks.firstFree, blocks.all[blocks.firstFree].nextFree);
    if (blocks.all.size() > std::numeric_limits<UInt32>::max()) return 0;
    try {
        blocks.all.emplace_back();
    } catch (const std::bad_alloc&) {
        return 0;
    }
    return static_cast<UInt32>(blocks.all.size() - 1);
}

void Clear(UInt32* weakWord) noexcept {
    Blocks& blocks = GetBlocks();
    const std::lock_guard lock(blocks.mutex);
    const UInt32 number = std::exchange(*weakWord, 0);
    if (number == 0) return;
    blocks.all[number].object = nullptr;
    blocks.FreeIfUnused(number);
}

UInt32 Acquire(ObjectHeader* object) noexcept {
    Blocks& blocks = GetBlocks();
    const std::lock_guard lock(blocks.mutex);
    if (object->weak == 0) {
        const UInt32 number = NewBlock(blocks);
        if (number == 0) return 0;
        blocks.all[number] = {object, 0, 0};
        object->weak = number;
    }
    blocks.all[object->weak].references++;
    return object->weak;
}

void AddReference(UInt32 number) noexcept {
    Blocks& blocks = GetBlocks();
    const std::lock_guard lock(blocks.mutex);
    blocks.all[number].references++;
}

void Release(UInt32 number) noexcept {
    Blocks& blocks = GetBlocks();
    const std::lock_guard lock(blocks.mutex);
    blocks.all[number].references--;
    blocks.FreeIfUnused(number);
}

ObjectHeader* Lock(UInt32 number) noexcept {
    Blocks& blocks = GetBlocks();
    // While this is held a dying object cannot be freed: it has to clear its block first.
    const std::lock_guard lock(blocks.mutex);
    ObjectHeader* object = blocks.all[number].object;
    if (object == nullptr) return nullptr;
    UInt32 count = object->count.load(std::memory_order_relaxed);
    while (count != 0 && !object->count.compare_exchange_weak(count, count + 1, std::memory_order_acquire,
                                                              std::memory_order_relaxed)) {
    }
    return count != 0 ? object : nullptr;
}

}  // namespace

constinit const WeakPtrTarget::Operations kWeakOperations{Clear, Acquire, AddReference, Release, Lock};

}  // namespace nuvra::host
