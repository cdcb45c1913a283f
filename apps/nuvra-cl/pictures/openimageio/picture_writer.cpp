#include <algorithm>
#include <cerrno>
#include <fstream>
#include <numeric>
#include <string_view>
#include <vector>

#include "console/failure.h"
#include "nuvra/host/file_name.h"
#include "pictures/openimageio/checked_file.h"
#include "pictures/openimageio/picture_files.h"

namespace nuvra::app {

namespace {

using OIIO::TypeDesc;

/// The sample types to try in a format that lacks the picture's, best first.
struct Substitutes {
    TypeDesc::BASETYPE wanted;
    size_t exactCount;  ///< how many of `types` keep every value
    std::vector<TypeDesc::BASETYPE> types;
};

const Substitutes kSubstitutes[] = {
    {TypeDesc::UINT8, 4, {TypeDesc::UINT8, TypeDesc::UINT16, TypeDesc::HALF, TypeDesc::FLOAT}},
    {TypeDesc::UINT16, 2, {TypeDesc::UINT16, TypeDesc::FLOAT, TypeDesc::HALF, TypeDesc::UINT8}},
    {TypeDesc::HALF, 2, {TypeDesc::HALF, TypeDesc::FLOAT, TypeDesc::UINT16, TypeDesc::UINT8}},
    {TypeDesc::FLOAT, 1, {TypeDesc::FLOAT, TypeDesc::HALF, TypeDesc::UINT16, TypeDesc::UINT8}},
};

Substitutes FindSubstitutes(TypeDesc wanted) {
    for (const Substitutes& entry : kSubstitutes)
        if (entry.wanted == wanted.basetype) return entry;
    const auto type = static_cast<TypeDesc::BASETYPE>(wanted.basetype);
    return {type, 1, {type, TypeDesc::FLOAT, TypeDesc::HALF, TypeDesc::UINT16, TypeDesc::UINT8}};
}

/// Longest sides in pixels, for formats whose writers crash or write a wrong file beyond them.
struct SideLimit {
    std::string_view format;
    Int64 longest;
};

constexpr SideLimit kSideLimits[] = {
    {"gif", 65535},
    {"heif", 32768},
    {"jpeg", 65500},
    {"rla", 32768},
};

/// Formats that write no file: "null" and text on the terminal.
constexpr std::string_view kNoFormats[] = {"null", "term"};

class Writer : public PictureWriter {
public:
    Writer(const std::filesystem::path& file, const std::string& format, const std::string& name,
           const PictureHead& picture);
    void Write(Int64 begin, Int64 end, const unsigned char* pixels) override;
    std::string Finish() override;

private:
    bool Open(TypeDesc type);
    TypeDesc GetFileType() const;
    OIIO::ImageSpec MakeSpec(TypeDesc type) const;
    void CheckSides() const;
    void CheckResult(bool withPixels) const;
    [[noreturn]] void FailWriting();
    [[noreturn]] void Fail(const std::string& reason) const {
        throw Failure("cannot write " + Quote(_name) + ": " + reason);
    }

    const std::filesystem::path _file;
    const std::string _format;
    const std::string _name;
    const PictureHead& _picture;
    bool _isExact = true;                   ///< whether the samples keep their values
    std::unique_ptr<CheckedFile> _checked;  ///< empty where the format's writer opens its file itself
    std::unique_ptr<OIIO::ImageOutput> _output;
};

/// The type of the samples in the file that the picture came from.
TypeDesc Writer::GetFileType() const {
    return _picture.origin != nullptr ? _picture.origin->spec.format
                                      : TypeDesc(ToOpenImageIO(_picture.type->samples));
}

/// The description of the file that the picture came from, with the picture's own size.
OIIO::ImageSpec DescribePicture(const PictureHead& picture) {
    const auto width = static_cast<int>(picture.GetWidth());
    const auto height = static_cast<int>(picture.GetHeight());
    if (picture.origin == nullptr) {
        const auto channelCount = static_cast<int>(picture.layout.channels.size());
        OIIO::ImageSpec spec(width, height, channelCount, ToOpenImageIO(picture.type->samples));
        spec.attribute("oiio:ColorSpace", "sRGB");
        return spec;
    }
    OIIO::ImageSpec spec = picture.origin->spec;
    if (spec.width == width && spec.height == height) return spec;
    spec.width = spec.full_width = width;
    spec.height = spec.full_height = height;
    spec.full_x = spec.full_y = spec.x = spec.y = 0;
    return spec;
}

OIIO::ImageSpec Writer::MakeSpec(TypeDesc type) const {
    OIIO::ImageSpec spec = DescribePicture(_picture);
    if (type != spec.format) spec.set_format(type);
    // Samples are written unchanged: `oiio:UnassociatedAlpha` = 1 keeps a writer from dividing colours by
    // alpha. Only TIFF can record that they are premultiplied, so only there a picture that was read so gets
    // 0.
    const bool isMultiplied =
        _picture.format == "openexr" ||
        (_picture.format == "tiff" && spec.get_int_attribute("oiio:UnassociatedAlpha") == 0);
    spec.attribute("oiio:UnassociatedAlpha", _format == "tiff" && isMultiplied ? 0 : 1);
    if (_output->supports("tiles") == 0) spec.tile_width = spec.tile_height = spec.tile_depth = 0;
    if (_format == "tiff")
        for (int* side : {&spec.tile_width, &spec.tile_height}) *side = (*side + 15) / 16 * 16;
    // Only the full-size picture is written, whatever reduced copies lay beside it.
    spec.erase_attribute("textureformat");
    return spec;
}

/// Opens the file for samples of `type`, or of the format's closest type.
bool Writer::Open(TypeDesc type) {
    _output = OIIO::ImageOutput::create(_format);
    if (_output == nullptr) Fail(FirstLine(OIIO::geterror(), "the format cannot be written"));
    _checked = nullptr;
    // TIFF's writer reads back what it has written: into a file for writing alone it puts a damaged picture.
    if (_output->supports("ioproxy") != 0 && _format != "tiff") {
        _checked = std::make_unique<CheckedFile>(_file);
        _output->set_ioproxy(_checked.get());
    }
    return _output->open(_file.string(), MakeSpec(type));
}

void Writer::CheckSides() const {
    const Int64 longest = std::max(_picture.GetWidth(), _picture.GetHeight());
    for (const SideLimit& limit : kSideLimits)
        if (_format == limit.format && longest > limit.longest)
            Fail("the format " + _format + " holds sides of at most " + std::to_string(limit.longest) +
                 " pixels, and the picture has " + DescribeSize(_picture.GetWidth(), _picture.GetHeight()));
}

Writer::Writer(const std::filesystem::path& file, const std::string& format, const std::string& name,
               const PictureHead& picture)
    : _file(file), _format(format), _name(name), _picture(picture) {
    CheckSides();
    if (_format == "webp" && _picture.layout.alpha >= 0)
        Fail("the format's writer divides colours by alpha whatever it is told; choose PNG or TIFF");
    const Substitutes substitutes = FindSubstitutes(GetFileType());
    size_t choice = 0;
    while (true) {
        const TypeDesc type = substitutes.types[choice];
        if (Open(type) && _output->spec().format == type) break;
        if (++choice < substitutes.types.size()) continue;
        if (_output->has_error()) Fail(FirstLine(_output->geterror(), ""));
        break;  // some formats have but one type of their own
    }
    _isExact = choice < substitutes.exactCount;
    step = GetRowStep(_output->spec());
}

void Writer::Write(Int64 begin, Int64 end, const unsigned char* pixels) {
    const OIIO::ImageSpec& spec = _output->spec();
    const int top = spec.y + static_cast<int>(begin);
    const int bottom = spec.y + static_cast<int>(end);
    const TypeDesc type = ToOpenImageIO(_picture.type->samples);
    const bool isWritten =
        spec.tile_width > 0
            ? _output->write_tiles(spec.x, spec.x + spec.width, top, bottom, spec.z, spec.z + 1, type, pixels)
            : _output->write_scanlines(top, bottom, spec.z, type, pixels);
    if (!isWritten) FailWriting();
}

std::string Writer::Finish() {
    const bool isClosed = _output->close();
    const int systemError = _checked != nullptr ? _checked->Finish() : 0;
    if (systemError != 0) Fail(DescribeSystemError(systemError));
    // TIFF's writer reports an error for a picture without Exif data; the file is complete.
    if (!isClosed) FailWriting();
    CheckResult(_checked == nullptr);
    if (_isExact) return {};
    return Quote(_name) + " holds " + _output->spec().format.c_str() + " samples, to which the " +
           _picture.fileType + " samples were rounded";
}

/// A full disk is the better reason.
void Writer::FailWriting() {
    std::string reason = FirstLine(_output->geterror(), "the writer gave no reason");
    const int systemError = _checked != nullptr ? _checked->Finish() : 0;
    Fail(systemError != 0 ? DescribeSystemError(systemError) : reason);
}

/// Whether a file may have a block that was not written, which reads as zeros: whether it has so many in a
/// row as compressed pixels hardly have.
bool MayLackBlocks(const std::filesystem::path& path) {
    constexpr int kMost = 2;
    std::ifstream file(path, std::ios::binary);
    std::vector<UInt64> words(size_t{1} << 17);
    int zeros = 0;
    do {
        file.read(reinterpret_cast<char*>(words.data()),
                  static_cast<std::streamsize>(words.size() * sizeof(UInt64)));
        words.resize(static_cast<size_t>(file.gcount()) / sizeof(UInt64));
        for (const UInt64 word : words) {
            zeros = word == 0 ? zeros + 1 : 0;
            if (zeros > kMost) return true;
        }
    } while (file);
    return !file.eof();
}

/// Reads the written file back: some writers drop channels or write files that no reader opens, and those
/// without a `CheckedFile` miss a full disk. A block that was not written reads as zeros, so a full disk
/// is an error whatever the reader says. Where no block is missing, the end of a TIFF file tells as much as
/// all of it.
void Writer::CheckResult(bool withPixels) const {
    const auto input = OIIO::ImageInput::open(_file.string());
    if (input == nullptr)
        Fail("the format's writer made a file that cannot be read (" +
             FirstLine(OIIO::geterror(), "no reason given") + ")");
    const OIIO::ImageSpec spec = input->spec();
    const auto channelCount = static_cast<int>(_picture.layout.channels.size());
    if (spec.width != _picture.GetWidth() || spec.height != _picture.GetHeight())
        Fail("the format " + _format + " cannot hold a picture of " +
             DescribeSize(_picture.GetWidth(), _picture.GetHeight()) + " pixels and " +
             std::to_string(channelCount) + " channels: its reader sees " +
             DescribeSize(spec.width, spec.height) + " and " + std::to_string(spec.nchannels));
    if (spec.nchannels < channelCount)
        Fail("the format " + _format + " cannot hold a picture of " + std::to_string(channelCount) +
             " channels");
    if (!withPixels) return;
    constexpr std::uintmax_t kSpare = 64 << 10;
    if (std::filesystem::space(_file).available < kSpare) Fail(DescribeSystemError(ENOSPC));
    const Int64 rows = std::lcm(GetRowStep(spec), Int64{64});
    std::vector<unsigned char> pixels(static_cast<size_t>(rows) * spec.scanline_bytes());
    bool isWhole = true;
    const bool isAnywhere = _format != "tiff" || MayLackBlocks(_file);
    for (Int64 row = isAnywhere ? 0 : (spec.height - 1) / rows * rows; row < spec.height && isWhole;
         row += rows)
        isWhole =
            ReadRows(*input, spec, row, std::min<Int64>(row + rows, spec.height), spec.format, pixels.data());
    if (!isWhole) Fail("the format's writer made a damaged file");
}

}  // namespace

std::string ChooseFormat(const std::string& name, const PictureHead& picture) {
    const std::string extension = host::ToText(host::ToPath(name).extension());
    const auto output = OIIO::ImageOutput::create(extension.empty() ? picture.format : name);
    if (output != nullptr && std::ranges::find(kNoFormats, output->format_name()) == std::end(kNoFormats))
        return output->format_name();
    static_cast<void>(OIIO::geterror());
    throw Failure("cannot write " + Quote(name) + ": no picture format that can be written is called " +
                  Quote(extension.empty() ? picture.format : extension.substr(1)));
}

std::unique_ptr<PictureWriter> OpenWriter(const std::filesystem::path& file, const std::string& format,
                                          const std::string& name, const PictureHead& picture) {
    return std::make_unique<Writer>(file, format, name, picture);
}

}  // namespace nuvra::app
