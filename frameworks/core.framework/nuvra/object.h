#pragma once

#include <atomic>
#include <new>
#include <type_traits>
#include <utility>

#include "nuvra/system.h"

namespace nuvra {

/// How every object begins: its count and the host's word for weak references to it.
struct ObjectHeader {
    std::atomic<UInt32> count{0};
    UInt32 weak = 0;  ///< non-zero while weak references exist; written by the host's weak pointer service
};

/// Weak references. The host keeps a control block for each object that has any; its number is the object's
/// weak word.
struct WeakPtrTarget {
    static constexpr Id kId{"nuvra.WeakPtrTarget#1"};
    static constexpr const char* kHeader = "nuvra/object.h";
    static constexpr bool kOptional = false;

    struct Operations {
        /// Empties every weak reference to the object that owns `weakWord`, and sets the word to 0.
        void (*Clear)(UInt32* weakWord);
        /// The control block of the object, made on first use and counted up; 0 when it cannot be had.
        UInt32 (*Acquire)(ObjectHeader* object);
        /// Counts a control block up.
        void (*AddReference)(UInt32 block);
        /// Counts a control block down.
        void (*Release)(UInt32 block);
        /// The object with its count raised, or null when it has died or is dying.
        ObjectHeader* (*Lock)(UInt32 block);
    };
};

inline void ClearWeakReferences(ObjectHeader& object) {
    if (object.weak != 0) Table<WeakPtrTarget>()->Clear(&object.weak);
}

/// Destroys an object made by `NewObject`: slot 0 of every interface implemented by a fixed class.
template <class T>
void DeleteObject(T* object) noexcept {
    ClearWeakReferences(*object);
    object->~T();
    System::Free(object);
    g_liveObjects.fetch_sub(1, std::memory_order_release);
}

/// What an operation called through an empty reference returns; see result.h for results.
template <class R>
struct EmptyReference {
    static R Answer() {
        if constexpr (!std::is_void_v<R>) return R();
    }
};
/// An operation that returns a reference answers with one to an empty value.
template <class R>
struct EmptyReference<const R&> {
    static const R& Answer() {
        static constinit const R empty{};
        return empty;
    }
};

/// Calls an operation of an interface that has no objects. Where nothing implements it the answer is that of
/// an empty reference.
template <class I, auto Operation, class... A>
decltype(auto) InvokeStatic(A&&... arguments) {
    using R = decltype((Table<I>()->*Operation)(std::forward<A>(arguments)...));
    const auto* table = Table<I>();
    if (table == nullptr) [[unlikely]]
        return EmptyReference<R>::Answer();
    return (table->*Operation)(std::forward<A>(arguments)...);
}

/// Chooses the constructor of `ObjectRef` that takes over a count.
struct AdoptCount {};
inline constexpr AdoptCount kAdoptCount;

/// A counted reference to an object of the class that implements interface I, or to nothing. Slot 0 of the
/// interface's operations destroys the object when its last reference goes. Copying is atomic; one reference
/// object must not be written by two threads at once.
template <class I>
class ObjectRef {
public:
    using Interface = I;
    using Object = typename I::Object;

    constexpr ObjectRef() = default;
    constexpr ObjectRef(std::nullptr_t) {}  // NOLINT(google-explicit-constructor)
    /// Takes a reference to `object`, which may be null.
    explicit ObjectRef(Object* object) : _object(object) { Retain(); }
    ObjectRef(const ObjectRef& other) : _object(other._object) { Retain(); }
    constexpr ObjectRef(ObjectRef&& other) noexcept : _object(std::exchange(other._object, nullptr)) {}
    ObjectRef& operator=(ObjectRef other) noexcept {
        std::swap(_object, other._object);
        return *this;
    }
    constexpr ~ObjectRef() {
        if (_object != nullptr) Drop();
    }

    /// Takes over a count that the caller holds.
    ObjectRef(AdoptCount, Object* object) : _object(object) {}

    /// Gives the count to the caller; the reference is then empty.
    Object* Detach() { return std::exchange(_object, nullptr); }

    constexpr Object* Get() const { return _object; }
    constexpr explicit operator bool() const { return _object != nullptr; }
    friend bool operator==(const ObjectRef& a, const ObjectRef& b) { return a._object == b._object; }

    /// Calls the operation `Operation`, a member of `I::Operations`. On an empty reference the answer is the
    /// null-pointer error where the operation returns a result, and an empty or zero value where it does not.
    template <auto Operation, class... A>
    decltype(auto) Invoke(A&&... arguments) const {
        using R = decltype((Table<I>()->*Operation)(_object, std::forward<A>(arguments)...));
        if (_object == nullptr) [[unlikely]]
            return EmptyReference<R>::Answer();
        return (Table<I>()->*Operation)(_object, std::forward<A>(arguments)...);
    }

private:
    void Retain() const {
        if (_object != nullptr)
            reinterpret_cast<ObjectHeader*>(_object)->count.fetch_add(1, std::memory_order_relaxed);
    }
    void Drop() {
        auto& header = *reinterpret_cast<ObjectHeader*>(_object);
        // An atomic exchange takes longer than the rest of an object's life. Who holds the only reference,
        // with no weak one from which another could be made, needs none.
        if (header.count.load(std::memory_order_acquire) == 1 && header.weak == 0)
            header.count.store(0, std::memory_order_relaxed);
        else if (header.count.fetch_sub(1, std::memory_order_acq_rel) != 1)
            return;
        Table<I>()->Destroy(_object);
    }

    Object* _object = nullptr;
};

/// A reference to a new object in the host's memory; empty when the memory cannot be had.
template <class Ref, class... A>
Ref NewObject(A&&... arguments) {
    using T = typename Ref::Object;
    static_assert(std::is_base_of_v<ObjectHeader, T>);
    void* memory = System::Allocate(sizeof(T));
    if (memory == nullptr) return Ref();
    g_liveObjects.fetch_add(1, std::memory_order_relaxed);
    T* object = new (memory) T(std::forward<A>(arguments)...);
    object->count.store(1, std::memory_order_relaxed);
    return Ref(kAdoptCount, object);
}

/// A reference that does not keep its object alive.
template <class Ref>
class WeakRef {
public:
    WeakRef() = default;
    /// Empty when the host cannot keep track of one more object.
    explicit WeakRef(const Ref& strong) {
        if (strong) _block = Table<WeakPtrTarget>()->Acquire(reinterpret_cast<ObjectHeader*>(strong.Get()));
    }
    WeakRef(const WeakRef& other) : _block(other._block) {
        if (_block != 0) Table<WeakPtrTarget>()->AddReference(_block);
    }
    WeakRef(WeakRef&& other) noexcept : _block(std::exchange(other._block, 0)) {}
    WeakRef& operator=(WeakRef other) noexcept {
        std::swap(_block, other._block);
        return *this;
    }
    ~WeakRef() {
        if (_block != 0) Table<WeakPtrTarget>()->Release(_block);
    }

    /// The object while it lives, an empty reference afterwards.
    Ref Lock() const {
        if (_block == 0) return Ref();
        return Ref(kAdoptCount,
                   reinterpret_cast<typename Ref::Object*>(Table<WeakPtrTarget>()->Lock(_block)));
    }

private:
    UInt32 _block = 0;
};

}  // namespace nuvra
