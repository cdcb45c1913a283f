#include "console/output_file.h"

#include <cerrno>
#include <fstream>
#include <random>
#include <vector>

#include "console/failure.h"
#include "console/named_files.h"
#include "nuvra/host/file_name.h"
#include "system/system.h"

namespace nuvra::app {

namespace fs = std::filesystem;

OutputFile::OutputFile(const std::string& name, Access access, const std::string& extension)
    : _name(name), _target(host::ToPath(name)) {
    const fs::path path = _target;
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (error == std::errc::too_many_symbolic_link_levels) Fail(error.value());
    if (fs::is_directory(status)) throw Failure("cannot write " + Quote(name) + ": it is a folder");
    _isSpecial = fs::exists(status) && !fs::is_regular_file(status);
    if (_isSpecial && access == Access::SEQUENTIAL) {
        _written = path;
        _stream = host::OpenFile(path, "wb");
        if (_stream == nullptr) Fail(errno);
        return;
    }
    // Renaming would replace a symbolic link by the file, and a file that the person may not write.
    if (!fs::exists(status)) _target = FollowLinks(path);
    if (fs::is_regular_file(status)) {
        _target = fs::canonical(path);
        std::FILE* probe = host::OpenFile(_target, "ab");
        if (probe == nullptr) Fail(errno);
        std::fclose(probe);
    }
    // The longest names leave no room for their extension. Pictures alone need it, and theirs are short.
    std::string ending;
    if (access == Access::RANDOM) ending = path.has_extension() ? host::ToText(path.extension()) : extension;
    MakeTemporary(_isSpecial ? fs::temp_directory_path() : _target.parent_path(), ending);
    // Fails only on file systems without permissions.
    if (fs::is_regular_file(status)) fs::permissions(_written, status.permissions(), error);
    if (access == Access::RANDOM) Close();
}

OutputFile::~OutputFile() {
    if (_stream != nullptr) std::fclose(_stream);
    if (!_isTemporary) return;
    std::error_code ignored;
    fs::remove(_written, ignored);
    RemoveWhenInterrupted({});
}

/// Created empty at once (O_EXCL), so that no other program takes the name.
void OutputFile::MakeTemporary(const fs::path& folder, const std::string& extension) {
    std::random_device random;
    do {
        _written = folder / host::ToPath(".nuvra-cl-" + std::to_string(random()) + extension);
        RemoveWhenInterrupted(_written);
        _stream = host::OpenFile(_written, "wbx");
    } while (_stream == nullptr && errno == EEXIST);
    if (_stream == nullptr) {
        const int code = errno;
        RemoveWhenInterrupted({});
        std::error_code unknown;
        if (!_isSpecial && (code == EACCES || code == EPERM) && fs::exists(_target, unknown))
            throw Failure("cannot write " + Quote(_name) +
                          ": its folder takes no new file to put in its place (" + DescribeSystemError(code) +
                          ")");
        Fail(code);
    }
    _isTemporary = true;
}

void OutputFile::Write(const void* bytes, size_t size) {
    if (std::fwrite(bytes, 1, size, _stream) != size) Fail(errno);
}

void OutputFile::Commit() {
    if (_stream != nullptr) Close();
    if (!_isTemporary) return;
    if (_isSpecial) return CopyToTarget();
    std::error_code error;
    fs::rename(_written, _target, error);
    if (error) Fail(error.value());
    _isTemporary = false;
    RemoveWhenInterrupted({});
}

void OutputFile::CopyToTarget() {
    std::ifstream source(_written, std::ios::binary);
    _stream = host::OpenFile(_target, "wb");
    if (_stream == nullptr) Fail(errno);
    std::vector<char> piece(size_t{1} << 20);
    while (source.read(piece.data(), static_cast<std::streamsize>(piece.size())), source.gcount() > 0)
        Write(piece.data(), static_cast<size_t>(source.gcount()));
    if (!source.eof()) Fail(EIO);
    Close();
}

void OutputFile::Close() {
    std::FILE* stream = _stream;
    _stream = nullptr;
    if (std::fclose(stream) != 0) Fail(errno);
}

void OutputFile::Fail(int systemError) const {
    throw Failure("cannot write " + Quote(_name) + ": " + DescribeSystemError(systemError));
}

}  // namespace nuvra::app
