#pragma once

#include "opencl_event.h"
#include "opencl_memoryobject.h"

/// What every enqueue does before and after its OpenCL call.
namespace nuvra {

/// A call's own list of handles; up to sixteen need no memory of the host.
template <class Handle>
class HandleList {
public:
    cl_uint GetCount() const { return _count; }
    /// Null when the list is empty, as OpenCL wants it.
    const Handle* GetFirst() const { return _count == 0 ? nullptr : _handles; }

    /// Collects the handles of the non-empty ones of `count` references; fails with `nullCode` where one has
    /// none. A runtime may take a null handle for nothing to wait for, or die of it.
    template <class Ref>
    Result<void> Collect(Int count, const Ref* references, cl_int nullCode) {
        if (references == nullptr || count <= 0) return {};
        if (count > kLocalCount) {
            NUVRA_RETURN_IF_ERROR(_allocated.Resize(count));
            _handles = _allocated.GetFirst();
        }
        for (Int i = 0; i < count; i++) {
            if (!references[i]) continue;
            const Handle handle = references[i].Get()->GetHandle();
            if (handle == nullptr) return OpenCLError(nullCode);
            _handles[_count++] = handle;
        }
        return {};
    }

private:
    static constexpr Int kLocalCount = 16;
    Handle _local[kLocalCount];
    BaseArray<Handle> _allocated;
    Handle* _handles = _local;
    cl_uint _count = 0;
};

/// The wait list and the event slot of one operation.
class Enqueue {
public:
    /// Collects the wait list, then gives the slot its new event: a slot may hold an event of its own wait
    /// list, which lives until the operation returns. Fails with CL_INVALID_EVENT_WAIT_LIST, the slot
    /// untouched, and with the out-of-memory error.
    Result<void> Open(Int waitCount, const OpenCLEventRef* waitList, OpenCLEventRef* slot);

    cl_uint GetWaitCount() const { return _waitList.GetCount(); }
    const cl_event* GetWaitList() const { return _waitList.GetFirst(); }
    /// Where the runtime writes the event; null when none is asked for.
    cl_event* GetEvent() const { return _event == nullptr ? nullptr : _event->handle.GetAddress(); }
    Enqueued GetAfterValues() const { return {GetEvent()}; }

    /// For operations of several launches: the event of the launch before, which the next one replaces when
    /// it succeeds.
    template <class Launch>
    cl_int Replace(const Launch& launch) {
        if (_event == nullptr) return launch();
        OwnedEvent previous = std::exchange(_event->handle, OwnedEvent());
        const cl_int code = launch();
        if (!_event->handle) _event->handle = std::move(previous);
        return code;
    }

private:
    HandleList<cl_event> _waitList;
    OpenCLEventImpl* _event = nullptr;
    OpenCLEventRef _previous;
};

inline Result<void> Enqueue::Open(Int waitCount, const OpenCLEventRef* waitList, OpenCLEventRef* slot) {
    NUVRA_RETURN_IF_ERROR(_waitList.Collect(waitCount, waitList, CL_INVALID_EVENT_WAIT_LIST));
    if (slot == nullptr) return {};
    _event = NewObject<OpenCLEventImpl>();
    if (_event == nullptr) return OutOfMemoryError();
    _previous = std::exchange(*slot, OpenCLEventRef(_event));
    return {};
}

/// The way with a wait list or an event slot.
template <class MakeCall>
[[gnu::noinline]] Result<void> RunEnqueueWithEvents(Int waitCount, const OpenCLEventRef* waitList,
                                                    OpenCLEventRef* event, MakeCall makeCall,
                                                    SourceLocation location) {
    Enqueue enqueue;
    NUVRA_RETURN_IF_ERROR(enqueue.Open(waitCount, waitList, event));
    return CheckCode(
        makeCall(enqueue.GetAfterValues(), enqueue.GetWaitCount(), enqueue.GetWaitList(), enqueue.GetEvent()),
        location);
}

/// Makes one enqueue with `makeCall(after, count, list, event)`. Most calls wait for nothing and ask for no
/// event; they take a few nanoseconds, so nothing is set up for them.
template <class MakeCall>
[[gnu::always_inline]] inline Result<void> RunEnqueue(Int waitCount, const OpenCLEventRef* waitList,
                                                      OpenCLEventRef* event, MakeCall makeCall,
                                                      SourceLocation location = SourceLocation::Here()) {
    if (waitCount > 0 || event != nullptr)
        return RunEnqueueWithEvents(waitCount, waitList, event, makeCall, location);
    return CheckCode(makeCall(Enqueued{nullptr}, 0U, nullptr, nullptr), location);
}

}  // namespace nuvra
