#pragma once

#include <atomic>
#include <mutex>
#include <utility>

#include "nuvra/types.h"

namespace nuvra::host {

/// The number of live blocks, counted on any thread. A count that the threads share would take as long as an
/// allocation, so each thread has its own, which it alone writes; it may be negative.
class BlockCount {
public:
    static void Add(Int difference) noexcept {
        if (_ofThread == nullptr) return AddSlowly(difference);
        _ofThread->store(_ofThread->load(std::memory_order_relaxed) + difference, std::memory_order_relaxed);
    }
    static Int Get() {
        const std::lock_guard lock(_mutex);
        Int sum = _ofEndedThreads;
        for (const Thread* thread = _threads; thread != nullptr; thread = thread->next) sum += thread->count;
        return sum;
    }

private:
    using Count = std::atomic<Int>;
    struct Thread {
        Thread() {
            const std::lock_guard lock(_mutex);
            next = std::exchange(_threads, this);
            _ofThread = &count;
        }
        ~Thread() {
            const std::lock_guard lock(_mutex);
            Thread** link = &_threads;
            while (*link != this) link = &(*link)->next;
            *link = next;
            _ofEndedThreads += count;
            _ofThread = nullptr;
            hasEnded = true;
        }
        Thread(const Thread&) = delete;
        Thread& operator=(const Thread&) = delete;

        Count count{0};
        Thread* next = nullptr;
        bool hasEnded = false;
    };

    [[gnu::noinline]] static void AddSlowly(Int difference) noexcept {
        thread_local Thread thread;
        (thread.hasEnded ? _ofEndedThreads : thread.count) += difference;
    }

    static inline constinit std::mutex _mutex;
    static inline constinit Thread* _threads = nullptr;
    static inline constinit Count _ofEndedThreads{0};
    /// Null before a thread's first block and at its very end.
    static inline constinit thread_local Count* _ofThread = nullptr;
};

}  // namespace nuvra::host
