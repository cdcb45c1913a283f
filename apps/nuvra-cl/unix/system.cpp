#include "system.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <iterator>
#include <string>
#include <thread>
#include <utility>

namespace nuvra::app {

namespace {

/// A signal handler may use no more than this: a fixed text and a flag that says whether it is complete.
char g_removedPath[4096];
volatile std::sig_atomic_t g_hasRemovedPath = 0;

/// Where a thread waits for the signal that ends the program, which may do what a handler may not.
int g_signalPipe[2] = {-1, -1};

void RemovePath() {
    if (g_hasRemovedPath != 0) unlink(g_removedPath);
}

void EndProgram(int signal) {
    RemovePath();
    std::signal(signal, SIG_DFL);
    raise(signal);
}

void EndBySignal(int signal) {
    const auto number = static_cast<char>(signal);
    if (g_signalPipe[1] < 0 || write(g_signalPipe[1], &number, 1) != 1) EndProgram(signal);
    std::signal(signal, SIG_DFL);  // the second one does not wait for the thread
}

void InstallHandlersOnce() {
    static bool isInstalled = false;
    if (std::exchange(isInstalled, true)) return;
    // A runtime's compiler may end the program when it cannot write its own files.
    std::atexit(RemovePath);
    // Writing past the limit on a file's size is then an error like that of a full disk.
    std::signal(SIGXFSZ, SIG_IGN);
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGALRM, SIGTERM, SIGUSR1, SIGUSR2, SIGXCPU}) {
        struct sigaction current = {};
        // A program started with `nohup` keeps ignoring what it was told to ignore.
        if (sigaction(signal, nullptr, &current) == 0 && current.sa_handler != SIG_IGN)
            std::signal(signal, EndBySignal);
    }
}

}  // namespace

const char* GetRuntimeName() {
    return "libOpenCL.so.1";
}

const char* GetRuntimeAdvice() {
    return "Debian's packages ocl-icd-libopencl1 and pocl-opencl-icd give one that runs on any processor";
}

std::vector<std::string> GetArguments(int argc, char** argv) {
    return {argv, argv + argc};
}

std::FILE* GetStandardInput() {
    return stdin;
}

std::filesystem::path GetProgramPath() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error);
}

std::FILE* OpenTerminal() {
    if (isatty(STDERR_FILENO) == 0) return nullptr;
    const int copy = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    if (copy < 0) return nullptr;
    std::FILE* terminal = fdopen(copy, "w");
    if (terminal == nullptr) close(copy);
    return terminal;
}

void RemoveWhenInterrupted(const std::filesystem::path& path) {
    InstallHandlersOnce();
    g_hasRemovedPath = 0;
    std::atomic_signal_fence(std::memory_order_seq_cst);
    const std::string absolute = path.empty() ? std::string() : std::filesystem::absolute(path).string();
    if (absolute.empty() || absolute.size() >= std::size(g_removedPath)) return;
    std::copy_n(absolute.c_str(), absolute.size() + 1, g_removedPath);
    std::atomic_signal_fence(std::memory_order_seq_cst);
    g_hasRemovedPath = 1;
}

void RunWhenInterrupted(std::function<void()> action) {
    if (pipe(g_signalPipe) != 0) return;
    for (const int end : g_signalPipe) fcntl(end, F_SETFD, FD_CLOEXEC);
    std::thread([action = std::move(action)] {
        char signal = 0;
        if (read(g_signalPipe[0], &signal, 1) != 1) return;
        action();
        EndProgram(signal);
    }).detach();
    InstallHandlersOnce();
}

SilencedStandardError::SilencedStandardError() {
    const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nothing < 0) return;
    std::fflush(stderr);
    _saved = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    if (_saved >= 0) dup2(nothing, STDERR_FILENO);
    close(nothing);
}

SilencedStandardError::~SilencedStandardError() {
    if (_saved < 0) return;
    std::fflush(stderr);
    dup2(_saved, STDERR_FILENO);
    close(_saved);
}

}  // namespace nuvra::app
