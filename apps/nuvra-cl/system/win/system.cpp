#include "system/system.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>
// Needs windows.h before it.
#include <shellapi.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <functional>
#include <iterator>
#include <mutex>
#include <utility>

#include "nuvra/host/file_name.h"
#include "system/library_job.h"

namespace nuvra::app {

namespace {

constexpr int kStandardError = 2;

/// The console's handler runs on a thread of its own: it reads a fixed text, and a flag that says whether the
/// text is complete.
wchar_t g_removedPath[4096];
std::atomic<bool> g_hasRemovedPath{false};
std::atomic<std::function<void()>*> g_interruptAction{nullptr};

/// The real standard error, also while it is silenced.
std::atomic<int> g_errors{kStandardError};

/// A stream there, made when it is silenced first.
std::atomic<std::FILE*> g_errorStream{nullptr};
std::mutex g_silenceLock;
int g_silences = 0;  ///< that live now

/// Printed before a line there: clears the progress bar on a console.
std::atomic<const char*> g_lineStart{""};

/// The file goes as soon as the program, which has it open, has ended.
void RemovePath() {
    if (g_hasRemovedPath.exchange(false)) DeleteFileW(g_removedPath);
}

void WriteText(const char* text) {
    _write(g_errors, text, static_cast<unsigned>(std::strlen(text)));
}

/// Once: after `abort` the filter for crashes may come, too.
void TellJob(const char* how) {
    static std::atomic_flag isTold;
    if (!IsLibraryAtWork() || isTold.test_and_set()) return;
    WriteText(g_lineStart);
    TellLibraryJobs(WriteText);
    WriteText(how);
}

BOOL WINAPI EndByConsole(DWORD) {
    if (const auto* action = g_interruptAction.exchange(nullptr)) (*action)();
    RemovePath();
    return FALSE;  // the next handler ends the program
}

const char* NameCrash(DWORD code) {
    switch (code) {
        case EXCEPTION_ACCESS_VIOLATION:
            return " (access violation)\n";
        case EXCEPTION_STACK_OVERFLOW:
            return " (stack overflow)\n";
        case EXCEPTION_ILLEGAL_INSTRUCTION:
            return " (illegal instruction)\n";
        case EXCEPTION_INT_DIVIDE_BY_ZERO:
            return " (division by zero)\n";
        default:
            return " (crashed)\n";
    }
}

LONG WINAPI EndByCrash(EXCEPTION_POINTERS* crash) {
    RemovePath();
    TellJob(NameCrash(crash->ExceptionRecord->ExceptionCode));
    return EXCEPTION_CONTINUE_SEARCH;  // the system ends the program, with the exception's code
}

void EndByAbort(int) {
    RemovePath();
    TellJob(" (aborted)\n");
}

void EndByExit() {
    RemovePath();
    if (!IsLibraryAtWork()) return;
    std::fflush(stdout);
    TellJob(" (it ended the program)\n");
    if (const auto* action = g_interruptAction.exchange(nullptr)) (*action)();
    std::_Exit(EXIT_FAILURE);
}

}  // namespace

void HandleSignals() {
    std::atexit(EndByExit);
    std::signal(SIGABRT, EndByAbort);
    SetConsoleCtrlHandler(EndByConsole, TRUE);
    SetUnhandledExceptionFilter(EndByCrash);
    // After a stack overflow the filter needs this much.
    ULONG kept = 64 << 10;
    SetThreadStackGuarantee(&kept);
}

const char* GetRuntimeAdvice() {
    return "the driver of a graphics card brings one";
}

std::vector<std::string> GetArguments(int argc, char** argv) {
    int count = 0;
    wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
    if (wide == nullptr) return {argv, argv + argc};
    std::vector<std::string> arguments;
    for (int i = 0; i < count; i++) arguments.push_back(host::ToText(wide[i]));
    LocalFree(wide);
    // What the program prints is UTF-8 as well.
    SetConsoleOutputCP(CP_UTF8);
    return arguments;
}

std::FILE* GetStandardInput() {
    _setmode(_fileno(stdin), _O_BINARY);
    return stdin;
}

std::filesystem::path GetProgramPath() {
    std::wstring path(MAX_PATH, L'\0');
    while (true) {
        const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
        if (length < path.size()) return path.substr(0, length);
        path.resize(path.size() * 2);
    }
}

std::FILE* OpenTerminal() {
    const auto console = reinterpret_cast<HANDLE>(_get_osfhandle(kStandardError));
    DWORD mode = 0;
    // The bar is drawn with control sequences, which older consoles do not have.
    if (GetConsoleMode(console, &mode) == FALSE ||
        SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) == FALSE)
        return nullptr;
    g_lineStart = "\r\033[K";
    return host::CopyStream(stderr);
}

int GetTerminalWidth(std::FILE* terminal) {
    CONSOLE_SCREEN_BUFFER_INFO console;
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(terminal)));
    if (GetConsoleScreenBufferInfo(handle, &console) == FALSE) return 0;
    return console.srWindow.Right - console.srWindow.Left + 1;
}

void RemoveWhenInterrupted(const std::filesystem::path& path) {
    g_hasRemovedPath = false;
    const std::wstring absolute = path.empty() ? std::wstring() : std::filesystem::absolute(path).wstring();
    if (absolute.empty() || absolute.size() >= std::size(g_removedPath)) return;
    std::wmemcpy(g_removedPath, absolute.c_str(), absolute.size() + 1);
    g_hasRemovedPath = true;
}

void RunWhenInterrupted(std::function<void()> action) {
    g_interruptAction = new std::function<void()>(std::move(action));  // for the rest of the program
}

void KeepSignals() {}

std::FILE* GetErrorStream() {
    std::FILE* stream = g_errorStream;
    return stream != nullptr ? stream : stderr;
}

SilencedStandardError::SilencedStandardError() {
    const std::lock_guard guard(g_silenceLock);
    if (g_silences++ > 0) return;
    if (g_errorStream == nullptr) g_errorStream = host::CopyStream(stderr);
    const int nothing = _open("NUL", _O_WRONLY);
    std::fflush(stderr);
    if (g_errorStream != nullptr && nothing >= 0 && _dup2(nothing, kStandardError) == 0)
        g_errors = _fileno(g_errorStream);
    if (nothing >= 0) _close(nothing);
}

SilencedStandardError::~SilencedStandardError() {
    const std::lock_guard guard(g_silenceLock);
    if (--g_silences > 0 || g_errorStream == nullptr) return;
    std::fflush(stderr);
    _dup2(_fileno(g_errorStream), kStandardError);
}

Int64 GetMachineMemory() {
    MEMORYSTATUSEX status = {};
    status.dwLength = sizeof(status);
    GlobalMemoryStatusEx(&status);
    return static_cast<Int64>(status.ullTotalPhys);
}

}  // namespace nuvra::app
