#include "record_file.h"

#include <cerrno>
#include <fstream>
#include <new>
#include <system_error>
#include <utility>

#include "nuvra/host/file_name.h"
#include "nuvra/host/file_write.h"
#include "values.h"

namespace nuvra::host {

namespace {

constexpr size_t kFull = size_t{1} << 16;  // bytes

}  // namespace

std::string ReadBeginning(const std::filesystem::path& path, size_t size) {
    std::string text(size, '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(text.data(), static_cast<std::streamsize>(size));
    text.resize(static_cast<size_t>(file.gcount()));
    return text;
}

RecordFile::RecordFile(const std::filesystem::path& path, std::FILE* standard, Int64 patience)
    : _path(path), _patience(patience) {
    // A program may silence its standard error for a while.
    _stream = path == "-" ? CopyStream(standard) : OpenFile(path, "wb");
    if (_stream == nullptr)
        Fail(errno);
    else
        std::setvbuf(_stream, nullptr, _IONBF, 0);  // the buffer here is enough
}

std::string& RecordFile::BeginRecord() {
    _buffer.resize(_whole);
    return _buffer;
}

void RecordFile::Commit(Int64 now) {
    _whole = _buffer.size();
    if (_whole < kFull && now - _latest < _patience) return;
    _latest = now;
    Flush();
}

void RecordFile::Close(std::string_view end) noexcept {
    Flush();
    Write(end);
    std::FILE* stream = std::exchange(_stream, nullptr);
    if (stream != nullptr && std::fclose(stream) != 0) Fail(errno);
}

void RecordFile::Flush() noexcept {
    Write(std::string_view(_buffer).substr(0, std::exchange(_whole, 0)));
    if (_buffer.capacity() > 2 * kFull) _buffer = {};  // a long record does not stay for ever
    _buffer.clear();
}

void RecordFile::Write(std::string_view text) noexcept {
    if (_stream == nullptr || text.empty()) return;
    if (WriteAll(_stream, text))
        _written += static_cast<Int64>(text.size());
    else
        Fail(errno);
}

void RecordFile::Fail(int systemError) noexcept {
    std::FILE* stream = std::exchange(_stream, nullptr);
    if (stream != nullptr) {
        std::fclose(stream);
        std::error_code ignored;
        if (_path != "-" && std::filesystem::is_regular_file(_path, ignored))
            std::filesystem::resize_file(_path, static_cast<std::uintmax_t>(_written), ignored);
    }
    try {
        std::string problem = "cannot write ";
        AppendQuoted(problem, ToText(_path));
        _problem = problem + ": " + std::generic_category().message(systemError);
    } catch (const std::bad_alloc&) {
        _problem = "cannot write";  // short enough to need no memory
    }
}

}  // namespace nuvra::host
