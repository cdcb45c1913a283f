#include "pictures/stb/png_writer.h"

#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <new>

namespace nuvra::app {

namespace {

using Bytes = std::vector<unsigned char>;

void AppendWord(Bytes& bytes, UInt32 word) {
    for (const int shift : {24, 16, 8, 0}) bytes.push_back(static_cast<unsigned char>(word >> shift));
}

/// A chunk: length, type, data and CRC.
void WritePart(const ByteSink& sink, const char* name, const Bytes& content) {
    Bytes part;
    AppendWord(part, static_cast<UInt32>(content.size()));
    part.insert(part.end(), name, name + 4);
    part.insert(part.end(), content.begin(), content.end());
    AppendWord(part, crc32(0, part.data() + 4, static_cast<uInt>(part.size() - 4)));
    sink(part.data(), part.size());
}

/// Compresses rows into IDAT chunks.
class Compressor {
public:
    explicit Compressor(const ByteSink& sink) : _sink(sink), _part(size_t{1} << 18) {
        if (deflateInit(&_stream, Z_DEFAULT_COMPRESSION) != Z_OK) throw std::bad_alloc();
    }
    ~Compressor() { deflateEnd(&_stream); }
    Compressor(const Compressor&) = delete;
    Compressor& operator=(const Compressor&) = delete;

    void Add(Bytes& row) { Run(row.data(), row.size(), Z_NO_FLUSH); }
    void Finish() { Run(nullptr, 0, Z_FINISH); }

private:
    void Run(unsigned char* bytes, size_t size, int flush) {
        _stream.next_in = bytes;
        _stream.avail_in = static_cast<uInt>(size);
        do {
            _stream.next_out = _part.data();
            _stream.avail_out = static_cast<uInt>(_part.size());
            deflate(&_stream, flush);
            const size_t made = _part.size() - _stream.avail_out;
            if (made > 0)
                WritePart(_sink, "IDAT", Bytes(_part.begin(), _part.begin() + static_cast<Int>(made)));
        } while (_stream.avail_out == 0);
    }

    const ByteSink& _sink;
    Bytes _part;
    z_stream _stream{};
};

/// The Paeth predictor of a byte from those to the left, above, and above to the left.
unsigned char Predict(int left, int above, int corner) {
    const int guess = left + above - corner;
    const int toLeft = std::abs(guess - left);
    const int toAbove = std::abs(guess - above);
    const int toCorner = std::abs(guess - corner);
    if (toLeft <= toAbove && toLeft <= toCorner) return static_cast<unsigned char>(left);
    return static_cast<unsigned char>(toAbove <= toCorner ? above : corner);
}

}  // namespace

void WritePng(const ByteSink& sink, Int64 width, Int64 height, size_t channelCount, size_t sampleBytes,
              const unsigned char* samples) {
    constexpr unsigned char kSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    constexpr unsigned char kColourTypes[] = {0, 4, 2, 6};  // grey, grey with alpha, RGB, RGB with alpha
    constexpr unsigned char kPaeth = 4;                     // the filter type of `Predict`
    sink(kSignature, sizeof(kSignature));
    Bytes header;
    AppendWord(header, static_cast<UInt32>(width));
    AppendWord(header, static_cast<UInt32>(height));
    header.insert(header.end(),
                  {static_cast<unsigned char>(8 * sampleBytes), kColourTypes[channelCount - 1], 0, 0, 0});
    WritePart(sink, "IHDR", header);
    WritePart(sink, "sRGB", {0});

    const size_t pixelBytes = channelCount * sampleBytes;
    const size_t rowBytes = static_cast<size_t>(width) * pixelBytes;
    Compressor compressor(sink);
    // Both rows begin with a pixel of zeros, the left neighbour of the first one.
    Bytes above(pixelBytes + rowBytes);
    Bytes row(above.size());
    Bytes filtered(1 + rowBytes, kPaeth);
    for (Int64 y = 0; y < height; y++, samples += rowBytes) {
        std::memcpy(row.data() + pixelBytes, samples, rowBytes);
        if (sampleBytes == 2)  // big-endian in the file
            for (size_t i = pixelBytes; i < row.size(); i += 2) std::swap(row[i], row[i + 1]);
        for (size_t i = 0; i < rowBytes; i++)
            filtered[1 + i] = static_cast<unsigned char>(row[pixelBytes + i] -
                                                         Predict(row[i], above[pixelBytes + i], above[i]));
        compressor.Add(filtered);
        std::swap(row, above);
    }
    compressor.Finish();
    WritePart(sink, "IEND", {});
}

}  // namespace nuvra::app
