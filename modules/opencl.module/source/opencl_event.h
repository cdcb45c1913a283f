#pragma once

#include "nuvra/open_cl_event.h"
#include "opencl_handle.h"

namespace nuvra {

/// Made by the queue's enqueues, for which the runtime writes the event into `handle`.
class OpenCLEventImpl : public ObjectHeader {
public:
    OwnedEvent handle;
};

}  // namespace nuvra
