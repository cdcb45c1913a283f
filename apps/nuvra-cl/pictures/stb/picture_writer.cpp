#include <stb/stb_image_write.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <limits>

#include "console/failure.h"
#include "console/output_file.h"
#include "nuvra/host/file_name.h"
#include "pictures/geometry.h"
#include "pictures/picture.h"
#include "pictures/stb/png_writer.h"

namespace nuvra::app {

const char* const kWrittenFormats = "PNG, JPEG or BMP";
const char* const kMetadataHelp =
    "This build knows only PNG, JPEG and BMP, of which PNG alone has 16-bit samples; metadata is not kept.";

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

struct Format {
    const char* name;
    std::vector<const char*> extensions;
    bool has16Bits;
    std::vector<int> channelCounts;
    int longestSide;  ///< pixels
    void (*encode)(const ByteSink& sink, const Image& image);
};

const Format kFormats[] = {
    {"png", {"png"}, true, {1, 2, 3, 4}, std::numeric_limits<int>::max(), EncodePng},
    {"jpeg", {"jpg", "jpeg"}, false, {1, 3}, 65500, EncodeJpeg},
    {"bmp", {"bmp"}, false, {1, 3, 4}, 16384, EncodeBmp},
};

/// The format that the extension names, or else the picture's own.
const Format& ChooseFormat(const std::string& name, const Picture& picture) {
    const std::string extension = host::ToText(host::ToPath(name).extension());
    const std::string asked = extension.empty() ? picture.format : extension.substr(1);
    std::string wanted = asked;
    for (char& c : wanted) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    for (const Format& format : kFormats)
        if (wanted == format.name || std::ranges::find(format.extensions, wanted) != format.extensions.end())
            return format;
    throw Failure("cannot write " + Quote(name) + ": no picture format that can be written is called " +
                  Quote(asked));
}

void CheckFits(const std::string& name, const Format& format, const Picture& picture) {
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

/// The 16-bit samples of a picture as bytes, each the closest one.
std::vector<unsigned char> RoundToBytes(const Picture& picture) {
    std::vector<unsigned char> bytes(static_cast<size_t>(picture.GetWidth() * picture.GetHeight()) *
                                     picture.layout.channels.size());
    for (size_t i = 0; i < bytes.size(); i++) {
        std::uint16_t word = 0;
        std::memcpy(&word, picture.samples.get() + i * sizeof(word), sizeof(word));
        bytes[i] = static_cast<unsigned char>((UInt32{word} * 255 + 32767) / 65535);
    }
    return bytes;
}

}  // namespace

void WritePicture(const std::string& name, const Picture& picture, Environment& environment) {
    const Format& format = ChooseFormat(name, picture);
    CheckFits(name, format, picture);
    const bool isRounded = picture.type->samples == Samples::UINT16 && !format.has16Bits;
    std::vector<unsigned char> bytes;
    if (isRounded) bytes = RoundToBytes(picture);
    OutputFile file(name, OutputFile::Access::SEQUENTIAL);
    format.encode([&](const void* piece, size_t size) { file.Write(piece, size); },
                  {static_cast<int>(picture.GetWidth()), static_cast<int>(picture.GetHeight()),
                   static_cast<int>(picture.layout.channels.size()), isRounded ? 1 : picture.type->bytes,
                   isRounded ? bytes.data() : picture.samples.get()});
    file.Commit();
    if (isRounded)
        environment.notes.push_back(Quote(name) + " holds uint8 samples, to which the " + picture.fileType +
                                    " samples were rounded");
}

}  // namespace nuvra::app
