#pragma once

#include "nuvra/hash_map.h"
#include "nuvra/open_cl_task.h"
#include "opencl_handle.h"

namespace nuvra {

class OpenCLContextImpl : public ObjectHeader {
public:
    /// An object without a cl_context, for a creator to `Open`; `devices` are copied. Dropped by a creator
    /// that fails.
    static Result<OpenCLContextRef> Create(const BaseArray<cl_device_id>& devices);
    /// Creates the cl_context for the object's devices with the zero-terminated property list.
    Result<void> Open(const cl_context_properties* properties);

    BaseArray<cl_device_id> devices;
    OwnedContext handle;
    bool isSharing = false;  ///< memory with OpenGL
    HashMap<String, OpenCLTaskRef> tasks;
};

}  // namespace nuvra
