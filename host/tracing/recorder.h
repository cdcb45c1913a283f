#pragma once

#include <CL/cl.h>

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "call.h"
#include "call_table.h"
#include "nuvra/host/tracing.h"

namespace nuvra::host {

/// Joins the events of all threads to calls and gives these to the sinks. Operations may throw.
class Recorder {
public:
    static constexpr const char* kOutOfMemory = "tracing has stopped: out of memory";

    explicit Recorder(const TracingOptions& options);

    /// The event before a call; the result is its cookie.
    UInt32 Begin(UInt64 thread, const char* name, const char* code, va_list values);
    /// The event after it.
    void End(UInt64 thread, const char* name, const char* code, va_list values);
    /// Data of the open call with the cookie.
    void Attach(UInt32 cookie, bool isText, Int size, const void* data, Int index);
    void Comment(const char* text);
    /// Whether attached data is used.
    bool IsCapturing() const { return _isCapturing; }
    /// A function that a module has found in a library.
    void NoteSymbol(std::string_view name, void* address);

    /// Completes the files. Calls that have not ended are written too, if there is memory for it.
    void Finish() noexcept;
    /// Ends the tracing after a failure; `Finish` still completes the files.
    void Stop(const char* problem) noexcept;

    std::vector<std::string> GetProblems() const;
    std::string GetCallTable() const;
    std::vector<std::string> GetLeaks() const;
    Int CountCreated() const;

private:
    Int64 Now() const;
    Call& Open(UInt64 thread, const char* name);
    Call* FindOpen(UInt64 thread, const char* name) const;
    void Close(Call& call);
    void Write(const Call& call);
    void NoteObjects(Call& call, std::string_view code);
    void NoteKernel(Call& call);
    void ReadResults(Call& call, const char* code, va_list values);
    Int64 WaitForQueue(Call& call, std::unique_lock<std::mutex>& lock);

    const std::chrono::steady_clock::time_point _start = std::chrono::steady_clock::now();
    bool _isCapturing = false;
    bool _countsCalls = false;
    bool _keepsMakers = false;
    bool _isSerialized = false;
    std::atomic<decltype(&::clFinish)> _finish{nullptr};  ///< of the runtime that was loaded last
    std::atomic<bool> _isFinished{false};                 ///< nothing more is traced
    std::atomic<const char*> _problem{nullptr};

    mutable std::mutex _mutex;  ///< guards all that follows
    bool _isClosed = false;     ///< the files are complete
    std::vector<std::unique_ptr<CallSink>> _sinks;
    CallTable _table;
    Handles _handles;
    std::vector<std::unique_ptr<Call>> _open;  ///< of one thread, the innermost last
    std::vector<std::unique_ptr<Call>> _idle;  ///< for reuse
    UInt32 _latestCookie = 0;
};

/// The recorder behind a tracing.
Recorder& GetRecorder(Tracing& tracing);

}  // namespace nuvra::host
