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
#include <utility>

#include "nuvra/host/file_name.h"

namespace nuvra::app {

namespace {

constexpr int kStandardError = 2;

/// The console's handler runs on a thread of its own: it reads a fixed text, and a flag that says whether the
/// text is complete.
wchar_t g_removedPath[4096];
std::atomic<bool> g_hasRemovedPath{false};
std::atomic<std::function<void()>*> g_interruptAction{nullptr};

/// The innermost `LibraryJob`.
std::atomic<const LibraryJob*> g_job{nullptr};

/// The real standard error, also while it is silenced.
std::atomic<int> g_errors{kStandardError};

/// Printed before a line there: clears the progress bar on a console.
std::atomic<const char*> g_lineStart{""};

/// The file goes as soon as the program, which has it open, has ended.
void RemovePath() {
    if (g_hasRemovedPath.exchange(false)) DeleteFileW(g_removedPath);
}

void TellJob(const char* how) {
    const LibraryJob* job = g_job.exchange(nullptr);
    if (job == nullptr) return;
    for (const char* text : {g_lineStart.load(), job->GetLine(), how})
        _write(g_errors, text, static_cast<unsigned>(std::strlen(text)));
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
    if (g_job == nullptr) return;
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
    const int copy = _dup(kStandardError);
    return copy < 0 ? nullptr : _fdopen(copy, "w");
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

LibraryJob::LibraryJob(const std::string& failure) : _line("nuvra-cl: " + failure), _outer(g_job) {
    g_job = this;
}

LibraryJob::~LibraryJob() {
    g_job = _outer;
}

SilencedStandardError::SilencedStandardError() {
    const int nothing = _open("NUL", _O_WRONLY);
    if (nothing < 0) return;
    std::fflush(stderr);
    _saved = _dup(kStandardError);
    if (_saved >= 0 && _dup2(nothing, kStandardError) == 0 && g_errors == kStandardError) g_errors = _saved;
    _close(nothing);
}

SilencedStandardError::~SilencedStandardError() {
    if (_saved < 0) return;
    std::fflush(stderr);
    _dup2(_saved, kStandardError);
    if (g_errors == _saved) g_errors = kStandardError;
    _close(_saved);
}

Int64 GetMachineMemory() {
    MEMORYSTATUSEX status = {};
    status.dwLength = sizeof(status);
    GlobalMemoryStatusEx(&status);
    return static_cast<Int64>(status.ullTotalPhys);
}

}  // namespace nuvra::app
