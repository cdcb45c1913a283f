#pragma once

#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>

#include "nuvra/types.h"

namespace nuvra::host {

/// The first `size` bytes of a file, fewer where it is shorter or cannot be read.
std::string ReadBeginning(const std::filesystem::path& path, size_t size);

/// A text file that grows by records, and ends with a whole one whatever happens to the program or the disk.
class RecordFile {
public:
    /// "-" is the standard stream. A record is written after at most `patience` nanoseconds, seen when
    /// another comes.
    RecordFile(const std::filesystem::path& path, std::FILE* standard, Int64 patience);
    ~RecordFile() { Close(); }
    RecordFile(const RecordFile&) = delete;
    RecordFile& operator=(const RecordFile&) = delete;

    /// Where a record is appended to. One that was begun and not committed is dropped.
    std::string& BeginRecord();
    /// What was appended is a whole record, complete at the time `now`.
    void Commit(Int64 now);
    /// Writes what was committed, then `end`, and gives the file up: what is committed later is dropped.
    /// Needs no memory.
    void Close(std::string_view end = {}) noexcept;

    /// "cannot write "x": No space left on device", empty while all is well. Records are dropped then.
    const std::string& GetProblem() const { return _problem; }

private:
    void Flush() noexcept;
    void Write(std::string_view text) noexcept;
    void Fail(int systemError) noexcept;

    std::filesystem::path _path;
    Int64 _patience;
    std::FILE* _stream = nullptr;
    std::string _buffer;
    size_t _whole = 0;  ///< bytes of whole records in the buffer
    std::string _problem;
    Int64 _written = 0;  ///< bytes of whole records
    Int64 _latest = 0;   ///< when records were written last
};

}  // namespace nuvra::host
