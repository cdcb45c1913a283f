#include "pictures/openimageio/picture_claim.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "console/failure.h"
#include "nuvra/host/file_name.h"

namespace nuvra::app {

namespace {

/// The beginning of a file. What lies behind it is zero.
class FileHead {
public:
    explicit FileHead(const std::string& name) {
        std::ifstream file(host::ToPath(name), std::ios::binary);
        _bytes.resize(kSize);
        file.read(_bytes.data(), static_cast<std::streamsize>(kSize));
        _bytes.resize(static_cast<size_t>(file.gcount()));
    }

    bool Has(size_t at, std::string_view text) const {
        return at < _bytes.size() && std::string_view(_bytes).substr(at).starts_with(text);
    }
    /// The position of the text at or behind `at`, or else the end of the head.
    size_t Find(std::string_view text, size_t at) const {
        return std::min(_bytes.find(text, at), _bytes.size());
    }
    bool IsEnd(size_t at) const { return at >= _bytes.size(); }

    /// An unsigned big-endian number of `count` bytes.
    Int64 GetBig(size_t at, size_t count) const {
        Int64 number = 0;
        for (size_t i = at; i < at + count; i++) number = number << 8 | GetByte(i);
        return number;
    }
    Int64 GetLittle(size_t at, size_t count) const {
        Int64 number = 0;
        for (size_t i = at + count; i-- > at;) number = number << 8 | GetByte(i);
        return number;
    }

private:
    static constexpr size_t kSize = size_t{1} << 20;  // far beyond the headers of real files

    Int64 GetByte(size_t at) const { return at < _bytes.size() ? static_cast<unsigned char>(_bytes[at]) : 0; }

    std::string _bytes;
};

PictureClaim MakeClaim(Int64 width, Int64 height, Int64 bytesPerPixel) {
    return {width, height,
            static_cast<double>(width) * static_cast<double>(height) * static_cast<double>(bytesPerPixel)};
}

using Claim = std::optional<PictureClaim>;

/// A JPEG file of several scans is held as coefficients of two bytes until the last one is there.
Claim ReadJpeg(const FileHead& head) {
    if (!head.Has(0, "\xFF\xD8")) return {};
    Int64 width = 0;
    Int64 height = 0;
    Int64 channelCount = 0;
    bool isProgressive = false;
    for (size_t at = 2; !(at = head.Find("\xFF", at), head.IsEnd(at));) {
        const Int64 marker = head.GetBig(++at, 1);
        const bool isTable = marker == 0xC4 || marker == 0xC8 || marker == 0xCC;
        if (marker >= 0xC0 && marker <= 0xCF && !isTable) {
            height = head.GetBig(at + 4, 2);
            width = head.GetBig(at + 6, 2);
            channelCount = head.GetBig(at + 8, 1);
            isProgressive = marker % 4 == 2;
        }
        if (marker == 0xDA) {
            const bool isWhole = !isProgressive && head.GetBig(at + 3, 1) == channelCount;
            return MakeClaim(width, height, channelCount * (isWhole ? 1 : 3));
        }
        const bool isAlone = marker <= 0x01 || (marker >= 0xD0 && marker <= 0xD8) || marker == 0xFF;
        if (!isAlone) at += 1 + static_cast<size_t>(head.GetBig(at + 1, 2));
    }
    return {};
}

Claim ReadGif(const FileHead& head) {
    if (!head.Has(0, "GIF8")) return {};
    constexpr Int64 kBytes = 4 + 4 + 2;  // of the picture, the reader's canvas and one frame
    return MakeClaim(head.GetLittle(6, 2), head.GetLittle(8, 2), kBytes);
}

Claim ReadWebp(const FileHead& head) {
    constexpr Int64 kBits = 0x3FFF;
    constexpr Int64 kBytes = Int64{2} * 4;
    if (!head.Has(0, "RIFF") || !head.Has(8, "WEBP")) return {};
    if (head.Has(12, "VP8X")) return MakeClaim(head.GetLittle(24, 3) + 1, head.GetLittle(27, 3) + 1, kBytes);
    if (head.Has(12, "VP8 "))
        return MakeClaim(head.GetLittle(26, 2) & kBits, head.GetLittle(28, 2) & kBits, kBytes);
    const Int64 sides = head.GetLittle(21, 4);
    return MakeClaim((sides & kBits) + 1, (sides >> 14 & kBits) + 1, kBytes);
}

/// The reader's samples have four bytes each.
Claim ReadJpeg2000(const FileHead& head) {
    constexpr std::string_view kStart = "\xFF\x4F\xFF\x51";
    if (!head.Has(0, kStart) && !head.Has(4, "jP  ")) return {};
    const size_t at = head.Find(kStart, 0);
    return MakeClaim(head.GetBig(at + 8, 4) - head.GetBig(at + 16, 4),
                     head.GetBig(at + 12, 4) - head.GetBig(at + 20, 4), head.GetBig(at + 40, 2) * (4 + 2));
}

/// The largest of its pictures, of which others may be pieces.
Claim ReadHeif(const FileHead& head) {
    if (!head.Has(4, "ftyp")) return {};
    constexpr Int64 kBytes = Int64{3} * 3;
    // Compressed bytes may look like the box that tells a size, so only the box around those is searched.
    const size_t meta = head.Find("meta", 4);
    const size_t end = meta - 4 + static_cast<size_t>(head.GetBig(meta - 4, 4));
    PictureClaim largest{};
    for (size_t at = head.Find("ispe", meta); at < end && !head.IsEnd(at); at = head.Find("ispe", at + 4)) {
        const PictureClaim claim = MakeClaim(head.GetBig(at + 8, 4), head.GetBig(at + 12, 4), kBytes);
        if (claim.bytes > largest.bytes) largest = claim;
    }
    return largest;
}

/// The reader goes on for ever where pixels that are not compressed have no bits.
bool IsEndless(const FileHead& head) {
    constexpr Int64 kCompressed = 4;
    return head.Has(0, "DDS ") && (head.GetLittle(80, 4) & kCompressed) == 0 && head.GetLittle(88, 4) == 0;
}

/// The reader makes room for all the user data of which the header of a DPX file tells.
bool LacksUserData(const FileHead& head, Int64 fileSize) {
    constexpr Int64 kUndefined = 0xFFFFFFFF;
    const bool isBig = head.Has(0, "SDPX");
    if (!isBig && !head.Has(0, "XPDS")) return false;
    const Int64 size = isBig ? head.GetBig(32, 4) : head.GetLittle(32, 4);
    return size != kUndefined && size > fileSize;
}

}  // namespace

Claim ReadClaim(const std::string& name) {
    const FileHead head(name);
    if (IsEndless(head)) throw Failure("cannot read " + Quote(name) + ": its pixels have no bits");
    if (LacksUserData(head, static_cast<Int64>(std::filesystem::file_size(host::ToPath(name)))))
        throw Failure("cannot read " + Quote(name) + ": it claims more user data than the file has bytes");
    for (auto* read : {ReadJpeg, ReadGif, ReadWebp, ReadJpeg2000, ReadHeif})
        if (const Claim claim = read(head)) return claim;
    return {};
}

}  // namespace nuvra::app
