#define STBI_NO_STDIO
#include <stb/stb_image.h>
#include <zlib.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string_view>

#include "console/failure.h"
#include "nuvra/host/file_name.h"
#include "pictures/picture_operations.h"

namespace nuvra::app {

namespace {

using Bytes = std::vector<unsigned char>;

[[noreturn]] void Fail(const std::string& name, const std::string& reason) {
    throw Failure("cannot read " + Quote(name) + ": " + reason);
}

UInt32 ReadWord(const unsigned char* bytes) {
    return UInt32{bytes[0]} << 24 | UInt32{bytes[1]} << 16 | UInt32{bytes[2]} << 8 | bytes[3];
}

/// Whether a PNG file has all its chunks with their CRCs, which the reader does not check.
bool IsWholePng(const Bytes& bytes) {
    constexpr size_t kSignature = 8;
    constexpr size_t kFrame = 12;  // a chunk's length, type and CRC
    for (size_t at = kSignature; bytes.size() - at >= kFrame;) {
        const UInt32 length = ReadWord(&bytes[at]);
        if (length > bytes.size() - at - kFrame) return false;
        const unsigned char* name = &bytes[at + 4];
        if (crc32(0, name, length + 4) != ReadWord(name + 4 + length)) return false;
        if (std::memcmp(name, "IEND", 4) == 0) return true;
        at += kFrame + length;
    }
    return false;
}

/// Whether a JPEG file has its EOI marker: the reader fills in the pixels that a cut file lacks.
bool IsWholeJpeg(const Bytes& bytes) {
    constexpr unsigned char kEnd[] = {0xFF, 0xD9};
    return std::search(bytes.rbegin(), bytes.rend(), std::rbegin(kEnd), std::rend(kEnd)) != bytes.rend();
}

/// Whether a BMP file is as long as it says.
bool IsWholeBmp(const Bytes& bytes) {
    constexpr size_t kLengthEnd = 6;
    if (bytes.size() < kLengthEnd) return false;
    return bytes.size() >=
           (bytes[2] | UInt32{bytes[3]} << 8 | UInt32{bytes[4]} << 16 | UInt32{bytes[5]} << 24);
}

struct Format {
    const char* name;
    std::string_view beginning;
    bool (*isWhole)(const Bytes& bytes);
};

/// The formats that can be checked: the reader itself fills in what is missing from most files.
constexpr Format kFormats[] = {
    {"png", "\x89PNG\r\n\x1A\n", IsWholePng},
    {"jpeg", "\xFF\xD8", IsWholeJpeg},
    {"bmp", "BM", IsWholeBmp},
};

/// Null for what is no picture.
const Format* FindFormat(const Bytes& bytes) {
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    for (const Format& format : kFormats)
        if (text.starts_with(format.beginning)) return &format;
    return nullptr;
}

Bytes ReadBytes(const std::string& name) {
    std::ifstream file(host::ToPath(name), std::ios::binary);
    Bytes bytes{std::istreambuf_iterator<char>(file), {}};
    if (file.bad()) Fail(name, "the system does not give its bytes");
    if (bytes.size() > INT_MAX) Fail(name, "files of more than 2 GiB cannot be read here");
    return bytes;
}

struct Decoded {
    Samples samples;
    void* pixels;  ///< null where the file is no picture
    int width = 0;
    int height = 0;
    int channelCount = 0;
};

/// The reader takes memory for what the file claims before it looks for it.
void CheckSize(const Bytes& bytes, const Format& format, const CheckClaim& check) {
    int width = 0;
    int height = 0;
    int channelCount = 0;
    if (stbi_info_from_memory(bytes.data(), static_cast<int>(bytes.size()), &width, &height, &channelCount) ==
        0)
        return;
    // The reader unpacks the samples and arranges them, and the picture is a copy; a JPEG file may have
    // coefficients of two bytes besides.
    const double copies = std::string_view(format.name) == "jpeg" ? 5 : 3;
    const int sampleBytes =
        stbi_is_16_bit_from_memory(bytes.data(), static_cast<int>(bytes.size())) != 0 ? 2 : 1;
    check({width, height, copies * width * height * channelCount * sampleBytes});
}

Decoded Decode(const Bytes& bytes) {
    const unsigned char* first = bytes.data();
    const int size = static_cast<int>(bytes.size());
    Decoded decoded{Samples::UINT8, nullptr};
    auto* width = &decoded.width;
    auto* height = &decoded.height;
    auto* channelCount = &decoded.channelCount;
    if (stbi_is_16_bit_from_memory(first, size) != 0) {
        decoded.samples = Samples::UINT16;
        decoded.pixels = stbi_load_16_from_memory(first, size, width, height, channelCount, 0);
    } else {
        decoded.pixels = stbi_load_from_memory(first, size, width, height, channelCount, 0);
    }
    return decoded;
}

/// The whole picture, decoded when the file is opened.
class Reader : public PictureReader {
public:
    Reader(const std::string& name, const CheckClaim& check) {
        const Bytes bytes = ReadBytes(name);
        const Format* format = FindFormat(bytes);
        if (format == nullptr) Fail(name, std::string("it is no picture (known are ") + kReadFormats + ")");
        if (!format->isWhole(bytes)) Fail(name, "it is damaged or cut short");
        CheckSize(bytes, *format, check);
        const Decoded decoded = Decode(bytes);
        _pixels.reset(static_cast<unsigned char*>(decoded.pixels));
        if (_pixels == nullptr) {
            const char* reason = stbi_failure_reason();
            Fail(name, "it is damaged or cut short (" +
                           FirstLine(reason != nullptr ? reason : "", "no reason given") + ")");
        }
        const SampleType& type = GetSampleType(decoded.samples);
        head = {MakeLayout(decoded.width, decoded.height, decoded.channelCount),
                name,
                format->name,
                type.name,
                &type,
                nullptr};
    }

    void Read(Int64 begin, Int64 end, unsigned char* pixels) override {
        const size_t rowBytes = head.GetRowBytes();
        std::memcpy(pixels, _pixels.get() + static_cast<size_t>(begin) * rowBytes,
                    static_cast<size_t>(end - begin) * rowBytes);
    }

private:
    struct Free {
        void operator()(unsigned char* pixels) const { stbi_image_free(pixels); }
    };
    std::unique_ptr<unsigned char, Free> _pixels;
};

}  // namespace

std::unique_ptr<PictureReader> OpenReader(const std::string& name, const CheckClaim& check) {
    return std::make_unique<Reader>(name, check);
}

}  // namespace nuvra::app
