#pragma once

#include <memory>
#include <string>

#include "pictures/geometry.h"
#include "pictures/memory_limit.h"
#include "pictures/pixels.h"

namespace nuvra::app {

/// What a picture's file says beside its pixels; only the reader and the writer know what that is.
struct PictureOrigin;

/// A picture without its samples.
struct PictureHead {
    PictureLayout layout;
    std::string name;      ///< for messages
    std::string format;    ///< of the file, "png" for example
    std::string fileType;  ///< the file's sample type, which may be one that memory has not
    const SampleType* type = nullptr;
    std::shared_ptr<const PictureOrigin> origin;  ///< null for a picture that the program drew, in sRGB

    Int64 GetWidth() const { return layout.width; }
    Int64 GetHeight() const { return layout.height; }
    size_t GetPixelBytes() const { return type->bytes * layout.channels.size(); }
    size_t GetRowBytes() const { return static_cast<size_t>(layout.width) * GetPixelBytes(); }
};

/// A picture in memory: its channels interleaved, row after row without gaps. Colours are as the file has
/// them, neither multiplied nor divided by alpha.
struct Picture : PictureHead {
    std::unique_ptr<unsigned char[]> samples;

    size_t GetBytes() const { return GetRowBytes() * static_cast<size_t>(layout.height); }
    unsigned char* GetPixel(Int64 x, Int64 y) const {
        return samples.get() + static_cast<size_t>(y * GetWidth() + x) * GetPixelBytes();
    }
};

/// What the samples alone take.
inline PictureClaim GetClaim(const PictureLayout& layout, const SampleType& type) {
    return {layout.width, layout.height,
            static_cast<double>(layout.width) * static_cast<double>(layout.height) *
                static_cast<double>(layout.channels.size() * type.bytes)};
}

/// An empty PNG picture, its samples not initialised. Throws a `Failure` when the sides are not positive or
/// the samples cannot be held.
Picture MakePicture(const PictureLayout& layout, Samples samples, const std::string& name);

/// A picture like another, of a size and a name of its own, within the limit.
PictureHead DescribeLike(const PictureHead& other, Int64 width, Int64 height, const std::string& name,
                         const MemoryLimit& limit);

/// So many rows of a picture, their samples not initialised.
Picture MakeBand(const PictureHead& picture, Int64 rows);

/// Throws a `Failure` for an empty rectangle and for one that leaves the picture.
void CheckRectangle(const Rectangle& rectangle, const PictureHead& picture);

}  // namespace nuvra::app
