#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "handles.h"
#include "signatures.h"
#include "values.h"

namespace nuvra::host {

/// Data behind a call's arguments.
struct Attachment {
    Int index = -1;  ///< of the array element that it belongs to, or -1
    Int size = 0;    ///< bytes
    bool isText = false;
    std::string text{};  ///< of a text; other data is not kept
};

enum class CallKind {
    CALL,     ///< with its results
    OPEN,     ///< without results yet
    BEFORE,   ///< an event that is not a call
    AFTER,    ///< results without a before event
    COMMENT,  ///< a name without values
};

/// One call as the tracers see it.
struct Call {
    CallKind kind = CallKind::CALL;
    std::string name;
    const Function* function = nullptr;  ///< null for an unknown one
    std::string kernel;                  ///< of a launch
    bool isKernelPlain = true;           ///< its name needs no escaping in JSON
    UInt64 thread = 0;
    UInt32 cookie = 0;
    Int64 begin = 0;  ///< nanoseconds since the tracing began
    Int64 end = 0;
    Values arguments;
    Values results;
    bool hasFailed = false;
    std::vector<Attachment> attachments;
    Handles::Map::node_type released;  ///< the object that the call releases
};

/// Where finished calls go. Used by one thread at a time.
class CallSink {
public:
    CallSink() = default;
    virtual ~CallSink() = default;
    CallSink(const CallSink&) = delete;
    CallSink& operator=(const CallSink&) = delete;

    /// May throw std::bad_alloc; the record is then left out.
    virtual void Write(const Call& call) = 0;
    virtual void Finish() noexcept {}
    /// Why the sink has failed; empty while it works.
    virtual std::string GetProblem() const { return {}; }
};

/// Appends "clFinish(command_queue=queue#1 (0x5581c0)) -> result=CL_SUCCESS".
void AppendCall(std::string& out, const Call& call);

}  // namespace nuvra::host
