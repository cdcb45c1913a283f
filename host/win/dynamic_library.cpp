#include "nuvra/host/dynamic_library.h"

#include <windows.h>

#include "nuvra/host/file_name.h"

namespace nuvra::host {

const bool kRuntimesStayResident = false;

namespace {

/// The system's words in UTF-8, without their line end; `name` is what they are about.
std::string LastError(const std::string& name) {
    const DWORD code = GetLastError();
    wchar_t words[512];
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                        code, 0, words, static_cast<DWORD>(std::size(words)), nullptr);
    std::string text = ToText(std::wstring(words, length));
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    if (const size_t place = text.find("%1"); place != text.npos) text.replace(place, 2, name);
    return text.empty() ? "Windows error " + std::to_string(code) : text;
}

}  // namespace

DynamicLibrary DynamicLibrary::Open(const std::string& name, LibraryUse, std::string& reason) {
    std::filesystem::path path = ToPath(name);
    // The system's folder alone: others may be able to write to the current folder or the program's.
    DWORD flags = LOAD_LIBRARY_SEARCH_SYSTEM32;
    if (path.has_root_path() || path.has_parent_path()) {
        // With an absolute path a library's own folder is searched for its dependencies.
        path = std::filesystem::absolute(path);
        flags = LOAD_WITH_ALTERED_SEARCH_PATH;
    }
    DynamicLibrary library;
    library._handle = LoadLibraryExW(path.c_str(), nullptr, flags);
    if (!library.IsOpen()) reason = LastError(name);
    return library;
}

void* DynamicLibrary::Find(const char* symbol, std::string& reason) const {
    void* address = reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(_handle), symbol));
    if (address == nullptr) reason = LastError(symbol);
    return address;
}

void DynamicLibrary::Close() {
    if (IsOpen()) FreeLibrary(static_cast<HMODULE>(std::exchange(_handle, nullptr)));
}

}  // namespace nuvra::host
