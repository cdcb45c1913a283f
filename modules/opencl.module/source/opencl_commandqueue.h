#pragma once

#include "nuvra/open_cl_context.h"
#include "opencl_handle.h"

namespace nuvra {

/// What the maker of a queue knows.
struct QueueOrigin {
    Int64 openCLCVersion;  ///< the device's, as major * 100 + minor * 10
    UInt32 flags;          ///< `OpenCLQueueFlags`
    bool isSharing;        ///< whether its context shares memory with OpenGL
};

class OpenCLCommandQueueImpl : public ObjectHeader {
public:
    OpenCLCommandQueueImpl(OwnedCommandQueue queue, const QueueOrigin& queueOrigin)
        : handle(std::move(queue)), origin(queueOrigin) {}

    /// Whether commands may overtake each other.
    bool IsOutOfOrder() const { return (origin.flags & OpenCLQueueFlags::OUT_OF_ORDER_EXEC_MODE) != 0; }

    OwnedCommandQueue handle;
    QueueOrigin origin;
};

}  // namespace nuvra
