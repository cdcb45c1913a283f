#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "nuvra/types.h"

namespace nuvra::host {

class Recorder;

/// Which tracers watch the OpenCL calls of the modules; any of them together.
struct TracingOptions {
    /// A file of trace events, which Perfetto and chrome://tracing show, "-" for standard output; empty for
    /// none.
    std::filesystem::path traceFile{};
    /// A file with a line for each call as it happens, "-" for standard error; empty for none.
    std::filesystem::path logFile{};
    /// Counts the calls, for `GetCallTable`.
    bool countsCalls = false;
    /// Keeps every object's making call, for `GetLeaks`.
    bool keepsMakers = false;
    /// Waits after every enqueue until its queue has done it, so that a call's time is the device's.
    bool isSerialized = false;
};

/// Whether a file is a trace, or a log, that was written here before; what is cut short counts, what is empty
/// does not.
bool HoldsTrace(const std::filesystem::path& file);
bool HoldsLog(const std::filesystem::path& file);

/// Watches the OpenCL calls of the modules of a host that has it in its options. It never changes what they
/// do: a tracer that fails stops, and its problem is told by `GetProblems`. One object serves one host.
/// Every operation may be called on any thread.
class Tracing {
public:
    /// Opens the files.
    explicit Tracing(const TracingOptions& options);
    /// As `Finish`.
    ~Tracing();
    Tracing(const Tracing&) = delete;
    Tracing& operator=(const Tracing&) = delete;

    /// Completes the files; calls that are being made at this moment stand there as unfinished. What is
    /// called later is not traced.
    void Finish();

    /// What kept a tracer from its work, a line each: a file that cannot be written, for example.
    std::vector<std::string> GetProblems() const;

    /// A table of the calls so far: how many, how long, how many failed; launches also by their kernel.
    std::string GetCallTable() const;

    /// The OpenCL objects that were created and are not released, a line each, by kind and in the order of
    /// their creation, with the calls that made them.
    std::vector<std::string> GetLeaks() const;
    /// How many objects were created.
    Int CountCreated() const;

private:
    friend Recorder& GetRecorder(Tracing& tracing);

    std::unique_ptr<Recorder> _recorder;
};

}  // namespace nuvra::host
