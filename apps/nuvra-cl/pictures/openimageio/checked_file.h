#pragma once

#include <OpenImageIO/filesystem.h>

#include <filesystem>
#include <fstream>

namespace nuvra::app {

/// The file handed to picture writers. Many ignore a failed write, and one ends the program: here every
/// write seems to succeed, and `Finish` returns the first error.
class CheckedFile : public OIIO::Filesystem::IOProxy {
public:
    explicit CheckedFile(const std::filesystem::path& path);

    const char* proxytype() const override { return "checked"; }
    void close() override {}
    bool seek(int64_t offset) override;
    size_t write(const void* bytes, size_t size) override;
    size_t pwrite(const void* bytes, size_t size, int64_t offset) override;
    size_t size() const override { return _size; }

    /// Completes the file. The result is 0, or the errno value of the first failure.
    int Finish();

private:
    void Note();

    std::ofstream _stream;
    int64_t _end = 0;  ///< of the latest write
    size_t _size = 0;
    int _systemError = 0;
};

}  // namespace nuvra::app
