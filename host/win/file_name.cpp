#include "nuvra/file_name.h"

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

namespace nuvra::host {

namespace {

/// `mode` in the form of the system's wide functions.
std::wstring ToWideMode(const char* mode) {
    std::wstring wide(mode, mode + std::char_traits<char>::length(mode));
    std::erase(wide, L'x');
    return wide;
}

}  // namespace

std::FILE* OpenFile(const std::filesystem::path& path, const char* mode) {
    const std::wstring wide = ToWideMode(mode);
    const bool isNew = wide.size() < std::char_traits<char>::length(mode);
    if (!isNew) return _wfopen(path.c_str(), wide.c_str());
    // The C library at hand may not know "x".
    const int file = _wopen(path.c_str(), _O_CREAT | _O_EXCL | _O_RDWR | _O_BINARY, _S_IREAD | _S_IWRITE);
    return file < 0 ? nullptr : _wfdopen(file, wide.c_str());
}

}  // namespace nuvra::host
