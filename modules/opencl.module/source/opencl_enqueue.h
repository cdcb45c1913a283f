#pragma once

#include "opencl_event.h"
#include "opencl_memoryobject.h"

/// What every enqueue does around its OpenCL call.
namespace nuvra {

/// The handles of one call; up to sixteen need no allocation.
template <class Handle>
class HandleList {
public:
    cl_uint GetCount() const { return _count; }
    /// Null when the list is empty, as OpenCL wants it.
    const Handle* GetFirst() const { return _count == 0 ? nullptr : _handles; }

    /// Collects the handles of `count` references, skipping empty ones. Fails with `nullCode` for an object
    /// without a handle: runtimes ignore a null handle or crash.
    template <class Ref>
    Result<void> Collect(Int count, const Ref* references, cl_int nullCode) {
        if (references == nullptr || count <= 0) return {};
        if (count > kLocalCount) {
            NUVRA_RETURN_IF_ERROR(_allocated.Resize(count));
            _handles = _allocated.GetFirst();
        }
        Handle* end = _handles;  // a member would be read and written again for each handle
        for (Int i = 0; i < count; i++) {
            if (!references[i]) continue;
            const Handle handle = references[i].Get()->handle.Get();
            if (handle == nullptr) return OpenCLError(nullCode);
            *end++ = handle;
        }
        _count = static_cast<cl_uint>(end - _handles);
        return {};
    }

private:
    static constexpr Int kLocalCount = 16;
    Handle _local[kLocalCount];
    BaseArray<Handle> _allocated;
    Handle* _handles = _local;
    cl_uint _count = 0;
};

/// The wait list and the event slot of an operation, as its caller gives them.
struct Waiting {
    Int count;
    const OpenCLEventRef* list;
    OpenCLEventRef* event;
};

/// The same as OpenCL takes them.
struct EventArguments {
    cl_uint count = 0;
    const cl_event* list = nullptr;
    cl_event* event = nullptr;  ///< where the runtime writes the event; null when none is asked for

    Enqueued GetAfterValues() const { return {event}; }
};

/// Keeps the events of one operation alive until its call has returned.
class HeldEvents {
public:
    /// Collects the wait list, then gives the slot its new event. Fails with CL_INVALID_EVENT_WAIT_LIST and
    /// the out-of-memory error, the slot untouched.
    Result<void> Open(const Waiting& waiting);

    EventArguments GetArguments() const { return {_waitList.GetCount(), _waitList.GetFirst(), _event}; }

private:
    HandleList<cl_event> _waitList;
    cl_event* _event = nullptr;
    OpenCLEventRef _previous;  ///< of the slot, which may stand in the wait list
};

inline Result<void> HeldEvents::Open(const Waiting& waiting) {
    NUVRA_RETURN_IF_ERROR(_waitList.Collect(waiting.count, waiting.list, CL_INVALID_EVENT_WAIT_LIST));
    if (waiting.event == nullptr) return {};
    auto event = NewObject<OpenCLEventRef>();
    if (!event) return OutOfMemoryError();
    _event = event.Get()->handle.GetAddress();
    _previous = std::exchange(*waiting.event, std::move(event));
    return {};
}

/// Slow path of `RunEnqueue`: something to wait for, or an event to return.
template <class MakeCall>
[[gnu::noinline]] Result<void> RunEnqueueWithEvents(const Waiting& waiting, const MakeCall& makeCall,
                                                    SourceLocation location) {
    HeldEvents events;
    NUVRA_RETURN_IF_ERROR(events.Open(waiting));
    return CheckCode(makeCall(events.GetArguments()), location);
}

/// Makes one enqueue with `makeCall`, which takes `EventArguments` and returns the call's code.
///
/// Fast path: most calls wait for nothing and ask for no event. They take a few nanoseconds, so their
/// arguments stay in registers: `waiting` and `makeCall` are passed by value, and the slow path gets the
/// addresses of copies.
template <class MakeCall>
[[gnu::always_inline]] inline Result<void> RunEnqueue(Waiting waiting, MakeCall makeCall,
                                                      SourceLocation location = SourceLocation::Here()) {
    if (waiting.count > 0 || waiting.event != nullptr)
        return RunEnqueueWithEvents(Waiting{waiting.count, waiting.list, waiting.event}, MakeCall(makeCall),
                                    location);
    return CheckCode(makeCall(EventArguments()), location);
}

}  // namespace nuvra
