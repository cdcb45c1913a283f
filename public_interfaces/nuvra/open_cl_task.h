#pragma once

#include "nuvra/open_cl_context.h"
#include "nuvra/registry.h"

namespace nuvra {

/// The registry of task classes, by task name.
inline constexpr Id kOpenCLTaskClasses{"nuvra.OpenCLTaskClasses"};

struct OpenCLTaskInterface {
    static constexpr Id kId{"nuvra.OpenCLTaskInterface#1"};

    struct Operations {
        void (*Reserved)(void* task);
        Result<void> (*Init)(void* task, const OpenCLContextRef& context);
        Result<void> (*Execute)(void* task, const OpenCLContextRef& context,
                                const OpenCLCommandQueueRef& queue, const void* parameters);
        Result<void> (*FreeResources)(void* task, const OpenCLContextRef& context);
        Data (*QueryParameter)(void* task, Int64 selector, const Data& value);
    };
};

/// A built-in GPU operation, compiled once per context: see `OpenCLContextRef::GetTask`. One instance runs
/// one `Execute` at a time.
class OpenCLTaskRef : public VirtualRef<OpenCLTaskInterface> {
    using Operations = OpenCLTaskInterface::Operations;

public:
    using VirtualRef::VirtualRef;
    OpenCLTaskRef() = default;

    /// Compiles the task for the context's devices; done by `GetTask`. When the build fails, the log of each
    /// device goes to the host's diagnostics.
    Result<void> Init(const OpenCLContextRef& context) const { return Invoke<&Operations::Init>(context); }
    /// Enqueues the work on a queue of the context and returns without waiting for it; memory objects of the
    /// record must live until the queue has finished. `parameters` is the task's own record below. Fails with
    /// CL_INVALID_VALUE for a null record, another version or values out of range, CL_INVALID_PROGRAM before
    /// a successful Init, and the codes of the calls that fail.
    Result<void> Execute(const OpenCLContextRef& context, const OpenCLCommandQueueRef& queue,
                         const void* parameters) const {
        return Invoke<&Operations::Execute>(context, queue, parameters);
    }
    /// Releases the task's program, kernels and buffers; done by the dying context. Always succeeds.
    Result<void> FreeResources(const OpenCLContextRef& context) const {
        return Invoke<&Operations::FreeResources>(context);
    }
    /// What a task tells about itself; empty for a selector that it does not know.
    Data QueryParameter(Int64 selector, const Data& value) const {
        return Invoke<&Operations::QueryParameter>(selector, value);
    }
};

Result<OpenCLTaskRef> OpenCLContextRef::GetTask(const String& name) const {
    return Invoke<&Operations::GetTask>(name);
}

/// "clearmem": fills the first `size` bytes of a buffer.
struct ClearMemParameters {
    Int64 version = 1;
    const OpenCLMemoryObjectRef* buffer = nullptr;
    Int64 size = 0;  ///< bytes; 0 and less fill nothing
    UChar value = 0;
};

/// "image.invert": each colour channel c of a rectangle becomes 1 - c, alpha stays. `destination` receives
/// the pixels at the coordinates that they have in `source`; source coordinates outside the source read its
/// nearest edge. CL_INVALID_MEM_OBJECT for memory that is no image, CL_INVALID_VALUE for an empty rectangle
/// and for one that leaves the destination.
struct InvertImageParameters {
    Int64 version = 1;
    const OpenCLMemoryObjectRef* source = nullptr;
    const OpenCLMemoryObjectRef* destination = nullptr;
    Int64 x = 0;  ///< pixels, as the following
    Int64 y = 0;
    Int64 width = 0;
    Int64 height = 0;
};

}  // namespace nuvra
