#include "system/system.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "nuvra/host/file_name.h"
#include "system/library_job.h"

namespace nuvra::app {

namespace {

/// What the signal handler reads: fixed texts, numbers, and flags that say whether they are complete.
char g_removedPath[4096];
volatile std::sig_atomic_t g_hasRemovedPath = 0;

/// The real standard error, also while it is silenced.
volatile std::sig_atomic_t g_errors = STDERR_FILENO;

/// A stream there, made when it is silenced first.
std::atomic<std::FILE*> g_errorStream{nullptr};
std::mutex g_silenceLock;
int g_silences = 0;  ///< that live now

/// Printed before a line there: clears the progress bar on a terminal.
const char* g_lineStart = "";

/// A pipe to the thread that runs the interrupt action: a handler may only call what is async-signal-safe.
volatile std::sig_atomic_t g_signalPipe = -1;

/// How a library can end the program, apart from `exit`.
struct Crash {
    int signal;
    const char* words;
};
constexpr Crash kCrashes[] = {
    {SIGABRT, " (aborted)\n"},         {SIGSEGV, " (segmentation fault)\n"}, {SIGBUS, " (bus error)\n"},
    {SIGFPE, " (arithmetic error)\n"}, {SIGILL, " (illegal instruction)\n"},
};

/// In place of a signal: the program ends with status 1.
constexpr int kExit = 0;

void RemovePath() {
    if (g_hasRemovedPath != 0) unlink(g_removedPath);
}

void WriteText(const char* text) {
    if (write(g_errors, text, std::strlen(text)) < 0) return;
}

void TellJob(const char* how) {
    if (!IsLibraryAtWork()) return;
    WriteText(g_lineStart);
    TellLibraryJobs(WriteText);
    WriteText(how);
}

void EndProgram(int signal) {
    RemovePath();
    if (signal == kExit) std::_Exit(EXIT_FAILURE);
    std::signal(signal, SIG_DFL);
    raise(signal);
}

/// Whether the thread, if there is one, now ends the program.
bool HandOver(int signal) {
    const auto number = static_cast<char>(signal);
    return g_signalPipe >= 0 && write(g_signalPipe, &number, 1) == 1;
}

/// A signal that LLVM's handler, once it has taken the place of the one here, would drop, or for which it
/// would let `abort` go on to end the program. Behind a fault it returns to the fault, and others it raises
/// again.
struct KeptSignal {
    int signal;
    struct sigaction own = {};
    struct sigaction library = {};  ///< what stood in the place of `own`
};
KeptSignal g_keptSignals[] = {{SIGABRT}, {SIGQUIT}, {SIGXCPU}};

/// A compiler removes its own files then.
void CallLibrary(int signal, siginfo_t* info, void* context) {
    for (KeptSignal& kept : g_keptSignals) {
        if (kept.signal != signal) continue;
        const struct sigaction library = std::exchange(kept.library, {});
        if ((library.sa_flags & SA_SIGINFO) != 0)
            library.sa_sigaction(signal, info, context);
        else if (library.sa_handler != SIG_DFL && library.sa_handler != SIG_IGN)
            library.sa_handler(signal);
    }
}

void EndBySignal(int signal, siginfo_t* info, void* context) {
    CallLibrary(signal, info, context);
    if (!HandOver(signal)) EndProgram(signal);
    std::signal(signal, SIG_DFL);  // a second signal ends the program at once
}

/// The thread may never finish, for example when the crash holds a lock.
void EndByThreadOrSoon(int signal) {
    constexpr int kPatience = 2000;  // milliseconds
    if (HandOver(signal)) poll(nullptr, 0, kPatience);
    EndProgram(signal);
}

void EndByCrash(int signal, siginfo_t* info, void* context) {
    CallLibrary(signal, info, context);
    static std::atomic_flag isEnding;
    while (isEnding.test_and_set()) pause();  // another thread ends the program
    RemovePath();
    for (const Crash& crash : kCrashes)
        if (crash.signal == signal) TellJob(crash.words);
    EndByThreadOrSoon(signal);
}

/// A runtime's compiler, for example, ends the program when it cannot write its own files.
void EndByExit() {
    RemovePath();
    if (!IsLibraryAtWork()) return;
    std::signal(SIGPIPE, SIG_IGN);
    std::fflush(stdout);
    TellJob(" (it ended the program)\n");
    EndByThreadOrSoon(kExit);
}

/// A stack of the handlers' own: after a stack overflow the thread's has no room.
void UseOwnStack() {
    alignas(std::max_align_t) static char memory[size_t{64} << 10];
    stack_t stack = {};
    if (sigaltstack(nullptr, &stack) != 0 || (stack.ss_flags & SS_DISABLE) == 0) return;
    stack = {.ss_sp = memory, .ss_flags = 0, .ss_size = sizeof(memory)};
    sigaltstack(&stack, nullptr);
}

void Handle(int signal, void (*handler)(int, siginfo_t*, void*)) {
    struct sigaction action = {};
    action.sa_sigaction = handler;
    action.sa_flags = SA_SIGINFO | SA_RESTART | SA_ONSTACK;
    sigfillset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

}  // namespace

void HandleSignals() {
    std::atexit(EndByExit);
    // Writing past the limit on a file's size is then an error like that of a full disk.
    std::signal(SIGXFSZ, SIG_IGN);
    UseOwnStack();
    struct sigaction current = {};
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGALRM, SIGTERM, SIGUSR1, SIGUSR2, SIGXCPU})
        // Under `nohup`, SIGHUP stays ignored.
        if (sigaction(signal, nullptr, &current) == 0 && current.sa_handler != SIG_IGN)
            Handle(signal, EndBySignal);
    for (const Crash& crash : kCrashes)
        // A sanitizer's own handler reports more.
        if (sigaction(crash.signal, nullptr, &current) == 0 && current.sa_handler == SIG_DFL)
            Handle(crash.signal, EndByCrash);
    for (KeptSignal& kept : g_keptSignals) sigaction(kept.signal, nullptr, &kept.own);
}

std::vector<std::string> GetArguments(int argc, char** argv) {
    return {argv, argv + argc};
}

std::FILE* GetStandardInput() {
    return stdin;
}

std::FILE* OpenTerminal() {
    if (isatty(STDERR_FILENO) == 0) return nullptr;
    std::FILE* terminal = host::CopyStream(stderr);
    if (terminal != nullptr) g_lineStart = "\r\033[K";
    return terminal;
}

int GetTerminalWidth(std::FILE* terminal) {
    winsize size{};
    return ioctl(fileno(terminal), TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

void RemoveWhenInterrupted(const std::filesystem::path& path) {
    g_hasRemovedPath = 0;
    std::atomic_signal_fence(std::memory_order_seq_cst);
    const std::string absolute = path.empty() ? std::string() : std::filesystem::absolute(path).string();
    if (absolute.empty() || absolute.size() >= std::size(g_removedPath)) return;
    std::copy_n(absolute.c_str(), absolute.size() + 1, g_removedPath);
    std::atomic_signal_fence(std::memory_order_seq_cst);
    g_hasRemovedPath = 1;
}

void RunWhenInterrupted(std::function<void()> action) {
    int ends[2];
    if (pipe(ends) != 0) return;
    for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);
    try {
        std::thread([action = std::move(action), readEnd = ends[0]] {
            char signal = 0;
            if (read(readEnd, &signal, 1) != 1) return;
            action();
            EndProgram(signal);
        }).detach();
        g_signalPipe = ends[1];
    } catch (const std::system_error&) {
        // Where no thread can be made, an interrupt ends the program without the action.
        for (const int end : ends) close(end);
    }
}

void KeepSignals() {
    static std::mutex lock;
    const std::lock_guard guard(lock);
    for (KeptSignal& kept : g_keptSignals) {
        struct sigaction current = {};
        if (sigaction(kept.signal, nullptr, &current) != 0 || current.sa_sigaction == kept.own.sa_sigaction)
            continue;
        kept.library = current;
        sigaction(kept.signal, &kept.own, nullptr);
    }
}

std::FILE* GetErrorStream() {
    std::FILE* stream = g_errorStream;
    return stream != nullptr ? stream : stderr;
}

SilencedStandardError::SilencedStandardError() {
    const std::lock_guard guard(g_silenceLock);
    if (g_silences++ > 0) return;
    if (g_errorStream == nullptr) g_errorStream = host::CopyStream(stderr);
    const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
    std::fflush(stderr);
    if (g_errorStream != nullptr && nothing >= 0 && dup2(nothing, STDERR_FILENO) >= 0)
        g_errors = fileno(g_errorStream);
    if (nothing >= 0) close(nothing);
}

SilencedStandardError::~SilencedStandardError() {
    const std::lock_guard guard(g_silenceLock);
    if (--g_silences > 0 || g_errorStream == nullptr) return;
    std::fflush(stderr);
    dup2(fileno(g_errorStream), STDERR_FILENO);
}

}  // namespace nuvra::app
