#include <stb/stb_image_write.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>

#include "console/failure.h"
#include "nuvra/host/file_name.h"
#include "pictures/picture_operations.h"
#include "pictures/stb/png_writer.h"

namespace nuvra::app {

namespace {

/// What an encoder is given: channels of `sampleBytes` bytes each.
struct Image {
    int width;
    int height;
    int channelCount;
    size_t sampleBytes;
    const unsigned char* samples;
};

/// The encoders are C functions, through which no exception may pass: one of the sink is kept and rethrown.
struct GuardedSink {
    const ByteSink& sink;
    std::exception_ptr exception{};

    static void Write(void* context, void* bytes, int size) {
        auto& guarded = *static_cast<GuardedSink*>(context);
        if (guarded.exception != nullptr) return;
        try {
            guarded.sink(bytes, static_cast<size_t>(size));
        } catch (...) {
            guarded.exception = std::current_exception();
        }
    }

    void Check(int isWritten) const {
        if (exception != nullptr) std::rethrow_exception(exception);
        if (isWritten == 0) throw std::bad_alloc();
    }
};

void EncodePng(const ByteSink& sink, const Image& image) {
    WritePng(sink, image.width, image.height, static_cast<size_t>(image.channelCount), image.sampleBytes,
             image.samples);
}

void EncodeJpeg(const ByteSink& sink, const Image& image) {
    constexpr int kQuality = 95;
    GuardedSink guarded{sink};
    guarded.Check(stbi_write_jpg_to_func(GuardedSink::Write, &guarded, image.width, image.height,
                                         image.channelCount, image.samples, kQuality));
}

void EncodeBmp(const ByteSink& sink, const Image& image) {
    GuardedSink guarded{sink};
    guarded.Check(stbi_write_bmp_to_func(GuardedSink::Write, &guarded, image.width, image.height,
                                         image.channelCount, image.samples));
}

struct FileFormat {
    const char* name;
    std::vector<const char*> extensions;
    bool has16Bits;
    std::vector<int> channelCounts;
    int longestSide;  ///< pixels
    void (*encode)(const ByteSink& sink, const Image& image);
};

const FileFormat kWriters[] = {
    {"png", {"png"}, true, {1, 2, 3, 4}, std::numeric_limits<int>::max(), EncodePng},
    {"jpeg", {"jpg", "jpeg"}, false, {1, 3}, 65500, EncodeJpeg},
    {"bmp", {"bmp"}, false, {1, 3, 4}, 16384, EncodeBmp},
};

/// Null for an unknown one.
const FileFormat* FindFormat(std::string wanted) {
    for (char& c : wanted) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    for (const FileFormat& format : kWriters)
        if (wanted == format.name || std::ranges::find(format.extensions, wanted) != format.extensions.end())
            return &format;
    return nullptr;
}

void CheckFits(const std::string& name, const FileFormat& format, const PictureHead& picture) {
    const auto fail = [&](const std::string& what) {
        throw Failure("cannot write " + Quote(name) + ": the format " + format.name + what);
    };
    const auto channelCount = static_cast<int>(picture.layout.channels.size());
    if (std::ranges::find(format.channelCounts, channelCount) == format.channelCounts.end())
        fail(" cannot hold a picture of " + std::to_string(channelCount) + " channels");
    if (std::max(picture.GetWidth(), picture.GetHeight()) > format.longestSide)
        fail(" holds sides of at most " + std::to_string(format.longestSide) +
             " pixels, and the picture has " + DescribeSize(picture.GetWidth(), picture.GetHeight()));
}

/// 16-bit samples as bytes, each the closest one.
std::vector<unsigned char> RoundToBytes(const std::vector<unsigned char>& samples) {
    std::vector<unsigned char> bytes(samples.size() / 2);
    for (size_t i = 0; i < bytes.size(); i++) {
        std::uint16_t word = 0;
        std::memcpy(&word, samples.data() + i * sizeof(word), sizeof(word));
        bytes[i] = static_cast<unsigned char>((UInt32{word} * 255 + 32767) / 65535);
    }
    return bytes;
}

/// Keeps the picture until it is whole, as the encoders take it so.
class Writer : public PictureWriter {
public:
    Writer(const std::filesystem::path& file, const FileFormat& format, const std::string& name,
           const PictureHead& picture)
        : _file(file), _format(format), _name(name), _picture(picture) {
        CheckFits(name, format, picture);
        _samples.reserve(static_cast<size_t>(picture.GetHeight()) * picture.GetRowBytes());
    }

    void Write(Int64 begin, Int64 end, const unsigned char* pixels) override {
        _samples.insert(_samples.end(), pixels,
                        pixels + (end - begin) * static_cast<Int64>(_picture.GetRowBytes()));
    }

    std::string Finish() override {
        const bool isRounded = _picture.type->samples == Samples::UINT16 && !_format.has16Bits;
        if (isRounded) _samples = RoundToBytes(_samples);
        Stream stream(host::OpenFile(_file, "wb"));
        if (stream == nullptr) Fail();
        const auto write = [&](const void* piece, size_t size) {
            if (std::fwrite(piece, 1, size, stream.get()) != size) Fail();
        };
        _format.encode(write, {static_cast<int>(_picture.GetWidth()), static_cast<int>(_picture.GetHeight()),
                               static_cast<int>(_picture.layout.channels.size()),
                               isRounded ? 1 : _picture.type->bytes, _samples.data()});
        if (std::fclose(stream.release()) != 0) Fail();
        return isRounded ? Quote(_name) + " holds uint8 samples, to which the " + _picture.fileType +
                               " samples were rounded"
                         : "";
    }

private:
    struct Close {
        void operator()(std::FILE* stream) const { std::fclose(stream); }
    };
    using Stream = std::unique_ptr<std::FILE, Close>;

    [[noreturn]] void Fail() const {
        throw Failure("cannot write " + Quote(_name) + ": " + DescribeSystemError(errno));
    }

    const std::filesystem::path _file;
    const FileFormat& _format;
    const std::string _name;
    const PictureHead& _picture;
    std::vector<unsigned char> _samples;
};

}  // namespace

std::string ChooseFormat(const std::string& name, const PictureHead& picture) {
    const std::string extension = host::ToText(host::ToPath(name).extension());
    const std::string asked = extension.empty() ? picture.format : extension.substr(1);
    if (const FileFormat* format = FindFormat(asked)) return format->name;
    throw Failure("cannot write " + Quote(name) + ": no picture format that can be written is called " +
                  Quote(asked));
}

std::unique_ptr<PictureWriter> OpenWriter(const std::filesystem::path& file, const std::string& format,
                                          const std::string& name, const PictureHead& picture) {
    return std::make_unique<Writer>(file, *FindFormat(format), name, picture);
}

}  // namespace nuvra::app
