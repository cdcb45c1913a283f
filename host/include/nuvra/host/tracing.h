#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "nuvra/types.h"

namespace nuvra::host {

class Recorder;

/// What is recorded of the modules' OpenCL calls, in any combination.
struct TracingOptions {
    /// A file of trace events for Perfetto or chrome://tracing, "-" for standard output; empty for none.
    std::filesystem::path traceFile{};
    /// A file with a line per call, "-" for standard error; empty for none.
    std::filesystem::path logFile{};
    /// Counts the calls, for `GetCallTable`.
    bool countsCalls = false;
    /// Keeps the call that created each object, for `GetLeaks`.
    bool keepsMakers = false;
    /// Calls clFinish after every enqueue, so that a call's time includes the device's.
    bool isSerialized = false;
};

/// Whether a file is a trace (log) written by an earlier `Tracing`; a truncated one counts, an empty file
/// does not.
bool HoldsTrace(const std::filesystem::path& file);
bool HoldsLog(const std::filesystem::path& file);

/// Watches the OpenCL calls of a host's modules, as part of the host's options. It never changes what the
/// calls do: a tracer that fails stops, and `GetProblems` says why. One object serves one host. Every
/// operation may be called on any thread.
class Tracing {
public:
    /// Opens the files.
    explicit Tracing(const TracingOptions& options);
    /// As `Finish`.
    ~Tracing();
    Tracing(const Tracing&) = delete;
    Tracing& operator=(const Tracing&) = delete;

    /// Completes the files. Calls still in progress are written as unfinished; later calls are not traced.
    void Finish();

    /// One line per failure, such as a file that cannot be written.
    std::vector<std::string> GetProblems() const;

    /// A table of the calls so far: count, time and failures per function, and per kernel for launches.
    std::string GetCallTable() const;

    /// The OpenCL objects that were created and not released, a line each with the call that created it, by
    /// kind and in the order of creation.
    std::vector<std::string> GetLeaks() const;
    /// How many objects were created.
    Int CountCreated() const;

private:
    friend Recorder& GetRecorder(Tracing& tracing);

    std::unique_ptr<Recorder> _recorder;
};

}  // namespace nuvra::host
