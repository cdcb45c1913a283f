#include "pictures/openimageio/checked_file.h"

#include <algorithm>
#include <cerrno>

namespace nuvra::app {

CheckedFile::CheckedFile(const std::filesystem::path& path)
    : IOProxy(path.string(), Write), _stream(path, std::ios::binary | std::ios::trunc) {
    Note();
}

bool CheckedFile::seek(int64_t offset) {
    m_pos = offset;
    return true;
}

size_t CheckedFile::write(const void* bytes, size_t size) {
    const size_t written = pwrite(bytes, size, m_pos);
    m_pos += static_cast<int64_t>(size);
    return written;
}

size_t CheckedFile::pwrite(const void* bytes, size_t size, int64_t offset) {
    errno = 0;
    // Seeking flushes the stream's buffer: sequential writes do not seek.
    if (offset != _end) _stream.seekp(offset);
    _stream.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(size));
    _end = offset + static_cast<int64_t>(size);
    _size = std::max(_size, static_cast<size_t>(_end));
    Note();
    return size;
}

int CheckedFile::Finish() {
    errno = 0;
    _stream.close();
    Note();
    return _systemError;
}

/// A failed stream stays failed and ignores what follows, so the first reason is the one that counts.
void CheckedFile::Note() {
    if (!_stream && _systemError == 0) _systemError = errno != 0 ? errno : EIO;
}

}  // namespace nuvra::app
