#include "system.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>
// It builds upon the header above.
#include <shellapi.h>

#include <atomic>
#include <cerrno>
#include <cwchar>
#include <functional>
#include <iterator>
#include <utility>

#include "nuvra/file_name.h"

namespace nuvra::app {

namespace {

constexpr int kStandardError = 2;

/// The console's handler runs on a thread of its own, beside the program: a fixed text, and a flag that says
/// whether it is complete.
wchar_t g_removedPath[4096];
std::atomic<bool> g_hasRemovedPath{false};
std::atomic<std::function<void()>*> g_interruptAction{nullptr};

BOOL WINAPI EndByConsole(DWORD) {
    if (const auto* action = g_interruptAction.exchange(nullptr)) (*action)();
    // The system deletes no file that is open; it is opened by the program alone, which ends now.
    if (g_hasRemovedPath.exchange(false))
        for (int tries = 0; tries < 50 && DeleteFileW(g_removedPath) == FALSE; tries++) Sleep(10);
    return FALSE;  // the next handler ends the program
}

void InstallHandlerOnce() {
    static const bool installed = SetConsoleCtrlHandler(EndByConsole, TRUE) != FALSE;
    static_cast<void>(installed);
}

}  // namespace

const char* GetRuntimeName() {
    return "opencl.dll";
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
    const int copy = _dup(kStandardError);
    return copy < 0 ? nullptr : _fdopen(copy, "w");
}

void RemoveWhenInterrupted(const std::filesystem::path& path) {
    InstallHandlerOnce();
    g_hasRemovedPath = false;
    const std::wstring absolute = path.empty() ? std::wstring() : std::filesystem::absolute(path).wstring();
    if (absolute.empty() || absolute.size() >= std::size(g_removedPath)) return;
    std::wmemcpy(g_removedPath, absolute.c_str(), absolute.size() + 1);
    g_hasRemovedPath = true;
}

void RunWhenInterrupted(std::function<void()> action) {
    g_interruptAction = new std::function<void()>(std::move(action));  // for the rest of the program
    InstallHandlerOnce();
}

SilencedStandardError::SilencedStandardError() {
    const int nothing = _open("NUL", _O_WRONLY);
    if (nothing < 0) return;
    std::fflush(stderr);
    _saved = _dup(kStandardError);
    if (_saved >= 0) _dup2(nothing, kStandardError);
    _close(nothing);
}

SilencedStandardError::~SilencedStandardError() {
    if (_saved < 0) return;
    std::fflush(stderr);
    _dup2(_saved, kStandardError);
    _close(_saved);
}

}  // namespace nuvra::app
