#include "pictures/picture_file.h"

#include <algorithm>
#include <cerrno>
#include <numeric>

#include "console/failure.h"
#include "console/progress.h"
#include "nuvra/host/file_name.h"
#include "system/library_job.h"
#include "system/system.h"

namespace nuvra::app {

namespace {

/// Null for a regular file.
const char* DescribeKind(std::filesystem::file_type type) {
    switch (type) {
        case std::filesystem::file_type::regular:
            return nullptr;
        case std::filesystem::file_type::directory:
            return "folder";
        case std::filesystem::file_type::fifo:
            return "pipe";
        case std::filesystem::file_type::socket:
            return "socket";
        default:
            return "device";
    }
}

/// Picture libraries seek.
void CheckIsFile(const std::string& name) {
    const auto fail = [&](const std::string& why) {
        throw Failure("cannot read " + Quote(name) + ": " + why);
    };
    const std::filesystem::path path = host::ToPath(name);
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) fail(error ? error.message() : "there is no such file");
    if (const char* kind = DescribeKind(status.type()))
        fail(std::string("it is a ") + kind + "; pictures are read from files");
    std::FILE* file = host::OpenFile(path, "rb");
    if (file == nullptr) fail(DescribeSystemError(errno));
    std::fclose(file);
}

/// Calls `work` for each band of rows.
template <class Work>
void ForEachBand(const PictureHead& picture, Int64 step, std::FILE* terminal, const std::string& label,
                 const Work& work) {
    const Int64 height = picture.GetHeight();
    const Int64 band = ChooseBand(picture, step);
    Progress progress(terminal, label, height);
    for (Int64 begin = 0; begin < height; begin += band) {
        const Int64 end = std::min(begin + band, height);
        work(begin, end);
        progress.Show(end);
    }
}

std::string GetFileName(const std::string& name) {
    return host::ToText(host::ToPath(name).filename());
}

}  // namespace

template <class Work>
auto PictureInput::Guard(const Work& work) const {
    const LibraryJob job("the library that reads pictures failed on " + Quote(_name));
    const SilencedStandardError silence;
    std::error_code unknown;
    const auto size = static_cast<double>(std::filesystem::file_size(host::ToPath(_name), unknown));
    return WithMemoryFor(work, "cannot read " + Quote(_name) + " of " + DescribeBytes(size) +
                                   ": it is damaged or needs more memory than there is");
}

PictureInput::PictureInput(const std::string& name, const MemoryLimit& limit) : _name(name) {
    CheckIsFile(name);
    const PictureLibrary& library = GetPictureLibrary();
    const auto check = [&](const PictureClaim& claim) { limit.CheckFile(name, claim); };
    _reader = Guard([&] { return library.openReader(name, check); });
}

PictureInput::~PictureInput() {
    try {
        Guard([&] { _reader.reset(); });
    } catch (const std::exception&) {
        // Without memory for the guard's texts the file is closed unguarded, behind this.
    }
}

void PictureInput::Read(Int64 begin, Int64 end, unsigned char* pixels) {
    Guard([&] { _reader->Read(begin, end, pixels); });
}

template <class Work>
auto PictureOutput::Guard(const Work& work) const {
    const LibraryJob job("the library that writes pictures failed on " + Quote(_name));
    const SilencedStandardError silence;
    return WithMemoryFor(work, "cannot write " + Quote(_name) + ": there is not enough memory");
}

PictureOutput::PictureOutput(const std::string& name, const PictureHead& picture)
    : _name(name),
      _format(GetPictureLibrary().chooseFormat(name, picture)),
      _file(name, OutputFile::Access::RANDOM, "." + _format) {
    _writer = Guard([&] { return GetPictureLibrary().openWriter(_file.GetPath(), _format, name, picture); });
}

PictureOutput::~PictureOutput() {
    try {
        if (_writer != nullptr) Guard([&] { _writer.reset(); });
    } catch (const std::exception&) {
        // As above.
    }
}

void PictureOutput::Write(Int64 begin, Int64 end, const unsigned char* pixels) {
    Guard([&] { _writer->Write(begin, end, pixels); });
}

void PictureOutput::Commit(Environment& environment) {
    const std::string loss = Guard([&] {
        std::string said = _writer->Finish();
        _writer.reset();
        return said;
    });
    _file.Commit();
    if (!loss.empty()) environment.notes.push_back(loss);
}

Int64 ChooseBand(const PictureHead& picture, Int64 step) {
    constexpr Int64 kBytes = Int64{4} << 20;
    // Writers that compress a picture in pieces, several at a time, like whole pieces.
    constexpr Int64 kRows = 64;
    const Int64 rows = kBytes / static_cast<Int64>(picture.GetRowBytes());
    const Int64 unit = rows < kRows || step > kRows ? step : std::lcm(step, kRows);
    return std::max(rows / unit, Int64{1}) * unit;
}

Picture ReadPicture(const std::string& name, const MemoryLimit& limit, const Environment& environment) {
    PictureInput input(name, limit);
    const PictureHead& head = input.GetHead();
    Picture picture = MakeBand(head, head.GetHeight());
    ForEachBand(picture, input.GetStep(), environment.terminal, "reading " + GetFileName(name),
                [&](Int64 begin, Int64 end) { input.Read(begin, end, picture.GetPixel(0, begin)); });
    return picture;
}

void WritePicture(const std::string& name, const Picture& picture, Environment& environment) {
    PictureOutput output(name, picture);
    ForEachBand(picture, output.GetStep(), environment.terminal, "writing " + GetFileName(name),
                [&](Int64 begin, Int64 end) { output.Write(begin, end, picture.GetPixel(0, begin)); });
    output.Commit(environment);
}

}  // namespace nuvra::app
