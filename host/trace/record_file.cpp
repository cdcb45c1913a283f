#include "record_file.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include "file_write.h"
#include "nuvra/file_name.h"
#include "values.h"

namespace nuvra::host {

namespace {

constexpr size_t kFull = size_t{1} << 16;  // bytes

}  // namespace

RecordFile::RecordFile(const std::filesystem::path& path, Int64 patience) : _path(path), _patience(patience) {
    _stream = path == "-" ? stderr : OpenFile(path, "wb");
    if (_stream == nullptr)
        Fail(errno);
    else if (_stream != stderr)
        std::setvbuf(_stream, nullptr, _IONBF, 0);  // the buffer here is enough
}

void RecordFile::Close() {
    Flush();
    std::FILE* stream = std::exchange(_stream, nullptr);
    if (stream != nullptr && stream != stderr && std::fclose(stream) != 0) Fail(errno);
}

void RecordFile::Commit(Int64 now) {
    if (_buffer.size() < kFull && now - _latest < _patience) return;
    _latest = now;
    Flush();
}

void RecordFile::Flush() {
    if (_stream != nullptr && !_buffer.empty()) {
        if (WriteAll(_stream, _buffer))
            _written += static_cast<Int64>(_buffer.size());
        else
            Fail(errno);
    }
    if (_buffer.capacity() > 2 * kFull) _buffer = {};  // a long record does not stay for ever
    _buffer.clear();
}

void RecordFile::Fail(int systemError) {
    _problem = "cannot write ";
    AppendQuoted(_problem, ToText(_path));
    _problem += ": " + std::generic_category().message(systemError);
    std::FILE* stream = std::exchange(_stream, nullptr);
    if (stream == nullptr || stream == stderr) return;
    std::fclose(stream);
    std::error_code ignored;
    if (std::filesystem::is_regular_file(_path, ignored))
        std::filesystem::resize_file(_path, static_cast<std::uintmax_t>(_written), ignored);
}

}  // namespace nuvra::host
