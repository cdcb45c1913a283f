#pragma once

#include <string>

namespace nuvra::app {

/// Names what a library works on, on the thread that this lives on. If the library ends the program
/// meanwhile, one line says so, even while standard error is silenced. A crash keeps its signal; after an
/// `exit` the status is 1.
class LibraryJob {
public:
    /// `failure` is the beginning of the line: "the library that reads pictures failed on "x.png"".
    explicit LibraryJob(const std::string& failure);
    ~LibraryJob();
    LibraryJob(const LibraryJob&) = delete;
    LibraryJob& operator=(const LibraryJob&) = delete;

    const char* GetFailure() const { return _failure.c_str(); }

private:
    const std::string _failure;
    const LibraryJob* _outer = nullptr;
};

/// Whether a library works on anything. Like `TellLibraryJobs`, for handlers of signals.
bool IsLibraryAtWork();

/// Gives `write` the pieces of the line without its end: what this thread's library works on, or else, on a
/// library's own thread, what any does. Nothing when none is at work.
void TellLibraryJobs(void (*write)(const char* text));

/// Called where a job begins and ends: libraries install handlers of their own.
void KeepSignals();

}  // namespace nuvra::app
