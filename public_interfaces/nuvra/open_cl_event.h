#pragma once

#include "nuvra/result.h"

namespace nuvra {

class OpenCLEventImpl;

struct OpenCLEventInterface {
    static constexpr Id kId{"nuvra.OpenCLEventInterface#1"};
    static constexpr const char* kHeader = "nuvra/open_cl_event.h";
    static constexpr bool kOptional = false;
    using Object = OpenCLEventImpl;

    struct Operations {
        void (*Destroy)(OpenCLEventImpl*);
    };
};

/// The event of one enqueued command, for wait lists. Made by the queue's operations alone. After a failed
/// enqueue it holds no event: a wait list with it is CL_INVALID_EVENT_WAIT_LIST, `WaitForEvents`
/// CL_INVALID_EVENT.
class OpenCLEventRef : public ObjectRef<OpenCLEventInterface> {
public:
    using ObjectRef::ObjectRef;
    OpenCLEventRef() = default;
};

}  // namespace nuvra
