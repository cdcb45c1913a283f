#include "system/library_job.h"

#include <atomic>

namespace nuvra::app {

namespace {

/// The innermost job of each thread that has one: reading, working and writing.
std::atomic<const LibraryJob*> g_jobs[4];
thread_local std::atomic<const LibraryJob*>* g_ownJob = nullptr;

}  // namespace

LibraryJob::LibraryJob(const std::string& failure) : _failure(failure) {
    KeepSignals();
    if (g_ownJob != nullptr) {
        _outer = g_ownJob->exchange(this);
        return;
    }
    for (auto& job : g_jobs) {
        const LibraryJob* none = nullptr;
        if (!job.compare_exchange_strong(none, this)) continue;
        g_ownJob = &job;
        return;
    }
}

LibraryJob::~LibraryJob() {
    KeepSignals();
    if (g_ownJob == nullptr) return;
    g_ownJob->store(_outer);
    if (_outer == nullptr) g_ownJob = nullptr;
}

bool IsLibraryAtWork() {
    for (const auto& job : g_jobs)
        if (job != nullptr) return true;
    return false;
}

void TellLibraryJobs(void (*write)(const char* text)) {
    const char* separator = "nuvra-cl: ";
    for (auto& slot : g_jobs) {
        const LibraryJob* job = slot;
        if (job == nullptr || (g_ownJob != nullptr && g_ownJob != &slot)) continue;
        write(separator);
        write(job->GetFailure());
        separator = ", or ";
    }
}

}  // namespace nuvra::app
