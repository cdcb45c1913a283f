#pragma once

#include "nuvra/base_array.h"

namespace nuvra {

/// A hash table from K (with `GetHash` and `==`) to V in the host's memory. Chained, at most 0.65 entries a
/// bucket. Entries keep their address until they are erased.
template <class K, class V>
class HashMap {
public:
    struct Entry {
        K key;
        V value{};
        Entry* next = nullptr;
    };
    struct Insertion {
        Entry* entry = nullptr;
        bool isNew = false;
    };

    HashMap() = default;
    HashMap(const HashMap&) = delete;
    HashMap& operator=(const HashMap&) = delete;
    ~HashMap() { Reset(); }

    Int GetCount() const { return _count; }

    /// The entry for `key`, made with an empty value when there is none; out of memory changes nothing.
    Result<Insertion> FindOrInsert(const K& key) {
        if (Entry* found = Find(key)) return Insertion{found, false};
        if ((_count + 1) * 100 > _buckets.GetCount() * 65) NUVRA_RETURN_IF_ERROR(Grow());
        void* memory = System::Allocate(sizeof(Entry));
        if (memory == nullptr) return OutOfMemoryError();
        Entry*& head = BucketOf(key);
        head = new (memory) Entry{key, V(), head};
        _count++;
        return Insertion{head, true};
    }

    Entry* Find(const K& key) {
        if (_count == 0) return nullptr;
        Entry* entry = BucketOf(key);
        while (entry != nullptr && !(entry->key == key)) entry = entry->next;
        return entry;
    }

    void Erase(Entry* entry) {
        Entry** link = &BucketOf(entry->key);
        while (*link != entry) link = &(*link)->next;
        *link = entry->next;
        Delete(entry);
        _count--;
    }

    template <class Function>
    void ForEach(Function&& function) {
        for (Entry* entry : _buckets)
            for (; entry != nullptr; entry = entry->next) function(*entry);
    }

    void Reset() {
        for (Entry* entry : _buckets)
            while (entry != nullptr) Delete(std::exchange(entry, entry->next));
        _buckets.Reset();
        _count = 0;
    }

private:
    Entry*& BucketOf(const K& key) {
        return _buckets[static_cast<Int>(key.GetHash() % static_cast<UInt64>(_buckets.GetCount()))];
    }

    static void Delete(Entry* entry) {
        entry->~Entry();
        System::Free(entry);
    }

    Result<void> Grow() {
        BaseArray<Entry*> old;
        NUVRA_RETURN_IF_ERROR(old.Resize(_buckets.IsEmpty() ? 16 : _buckets.GetCount() * 2));
        std::swap(old, _buckets);
        for (Entry* entry : old) {
            while (entry != nullptr) {
                Entry* next = entry->next;
                Entry*& head = BucketOf(entry->key);
                entry->next = head;
                head = entry;
                entry = next;
            }
        }
        return {};
    }

    BaseArray<Entry*> _buckets;
    Int _count = 0;
};

}  // namespace nuvra
