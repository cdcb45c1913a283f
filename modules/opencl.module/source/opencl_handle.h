#pragma once

#include "nuvra/opencl_interface_trace.h"
#include "opencl_error.h"

namespace nuvra {

/// Owns one OpenCL handle. The destructor releases it and ignores the result. `kInvalid` is the code for a
/// null handle.
template <class Handle, class ReleaseEntry, cl_int kInvalid>
class OwnedHandle {
public:
    OwnedHandle() = default;
    explicit OwnedHandle(Handle handle) : _handle(handle) {}
    OwnedHandle(OwnedHandle&& other) noexcept : _handle(std::exchange(other._handle, nullptr)) {}
    OwnedHandle& operator=(OwnedHandle&& other) noexcept {
        std::swap(_handle, other._handle);
        return *this;
    }
    ~OwnedHandle() {
        if (_handle != nullptr) ReleaseNow();
    }

    explicit operator bool() const { return _handle != nullptr; }
    Handle Get() const { return _handle; }
    /// For functions that write or read the handle in place.
    Handle* GetAddress() { return &_handle; }
    const Handle* GetAddress() const { return &_handle; }

    /// Releases the handle and clears it whatever the result; fails with `kInvalid` when there is none.
    Result<void> Release(SourceLocation location = SourceLocation::Here()) {
        return CheckCode(_handle == nullptr ? kInvalid : ReleaseNow(), location);
    }

private:
    /// Events are not released where the runtime lacks the function for it.
    cl_int ReleaseNow() {
        const Handle handle = std::exchange(_handle, nullptr);
        if (g_openCL.*ReleaseEntry::kFunction == nullptr) return CL_SUCCESS;
        return Call<ReleaseEntry>(ResultCode(), handle);
    }

    Handle _handle = nullptr;
};

using OwnedContext = OwnedHandle<cl_context, entry::clReleaseContext, CL_INVALID_CONTEXT>;
using OwnedCommandQueue =
    OwnedHandle<cl_command_queue, entry::clReleaseCommandQueue, CL_INVALID_COMMAND_QUEUE>;
using OwnedMemoryObject = OwnedHandle<cl_mem, entry::clReleaseMemObject, CL_INVALID_MEM_OBJECT>;
using OwnedProgram = OwnedHandle<cl_program, entry::clReleaseProgram, CL_INVALID_PROGRAM>;
using OwnedKernel = OwnedHandle<cl_kernel, entry::clReleaseKernel, CL_INVALID_KERNEL>;
using OwnedEvent = OwnedHandle<cl_event, entry::clReleaseEvent, CL_INVALID_EVENT>;

/// The operation `Release` of a class whose handle is its member `handle`.
template <class T>
Result<void> ReleaseHandle(T* object) noexcept {
    return object->handle.Release();
}

/// The error code that a creating call wrote, and where it is raised.
struct CreationError {
    CreationError(cl_int value, SourceLocation raised = SourceLocation::Here())  // NOLINT
        : code(value), location(raised) {}
    cl_int code;
    SourceLocation location;
};

/// An object that owns a new handle, constructed with `origin`. Fails with `error` for a null handle; without
/// memory for the object the handle is released.
template <class Ref, class Owned, class... Origin>
Result<Ref> Wrap(Owned handle, const CreationError& error, Origin&&... origin) {
    if (!handle) return OpenCLError(error.code, error.location);
    auto object = NewObject<Ref>(std::move(handle), std::forward<Origin>(origin)...);
    if (!object) return OutOfMemoryError(error.location);
    return object;
}

}  // namespace nuvra
