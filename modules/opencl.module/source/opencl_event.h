#pragma once

#include "nuvra/open_cl_event.h"
#include "opencl_handle.h"

namespace nuvra {

/// Made by the queue, which lets the runtime write the event into `handle`.
class OpenCLEventImpl : public ObjectHeader {
public:
    cl_event GetHandle() const { return handle.Get(); }

    OwnedEvent handle;
};

}  // namespace nuvra
