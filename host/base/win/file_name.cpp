#include "nuvra/host/file_name.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cerrno>

namespace nuvra::host {

namespace {

/// `mode` in the form of the system's wide functions.
std::wstring ToWideMode(const char* mode) {
    std::wstring wide(mode, mode + std::char_traits<char>::length(mode));
    std::erase(wide, L'x');
    return wide;
}

int ToErrno(DWORD error) {
    switch (error) {
        case ERROR_FILE_EXISTS:
            return EEXIST;
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
            return ENOENT;
        case ERROR_DISK_FULL:
            return ENOSPC;
        default:
            return EACCES;
    }
}

}  // namespace

std::FILE* OpenFile(const std::filesystem::path& path, const char* mode) {
    const std::wstring wide = ToWideMode(mode);
    const bool isNew = wide.size() < std::char_traits<char>::length(mode);
    if (!isNew) return _wfopen(path.c_str(), wide.c_str());
    // msvcrt does not know "x", and opens files without the right to delete them.
    const HANDLE handle = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                      CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        errno = ToErrno(GetLastError());
        return nullptr;
    }
    const int file = _open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_BINARY);
    if (file >= 0) return _wfdopen(file, wide.c_str());
    CloseHandle(handle);
    return nullptr;
}

std::FILE* CopyStream(std::FILE* stream) {
    const int copy = _dup(_fileno(stream));
    std::FILE* opened = copy < 0 ? nullptr : _fdopen(copy, "w");
    if (opened == nullptr && copy >= 0) _close(copy);
    return opened;
}

}  // namespace nuvra::host
