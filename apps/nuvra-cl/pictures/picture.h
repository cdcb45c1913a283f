#pragma once

#include <memory>

#include "console/environment.h"
#include "pictures/geometry.h"
#include "pictures/memory_limit.h"
#include "pictures/pixels.h"

namespace nuvra::app {

/// What a picture's file says beside its pixels; only the reader and the writer know what that is.
struct PictureOrigin;

/// A picture in memory: its channels interleaved, row after row without gaps. Colours are as the file has
/// them, neither multiplied nor divided by alpha.
struct Picture {
    PictureLayout layout;
    std::string name;      ///< for messages
    std::string format;    ///< of the file, "png" for example
    std::string fileType;  ///< the file's sample type, which may be one that memory has not
    const SampleType* type = nullptr;
    std::shared_ptr<const PictureOrigin> origin;  ///< null for a picture that the program drew, in sRGB
    std::unique_ptr<unsigned char[]> samples;

    Int64 GetWidth() const { return layout.width; }
    Int64 GetHeight() const { return layout.height; }
    size_t GetPixelBytes() const { return type->bytes * layout.channels.size(); }
    unsigned char* GetPixel(Int64 x, Int64 y) const {
        return samples.get() + static_cast<size_t>(y * GetWidth() + x) * GetPixelBytes();
    }
};

/// What the samples alone take.
PictureClaim GetClaim(const PictureLayout& layout, const SampleType& type);

/// An empty PNG picture, its samples not initialised. Throws a `Failure` when the sides are not positive or
/// the samples cannot be held.
Picture MakePicture(const PictureLayout& layout, Samples samples, const std::string& name);

/// The same for another picture's channels, samples, format and metadata, with a size of its own and within
/// the limit.
Picture MakePictureLike(const Picture& other, Int64 width, Int64 height, const std::string& name,
                        const MemoryLimit& limit);

/// Throws a `Failure` for an empty rectangle and for one that leaves the picture.
void CheckRectangle(const Rectangle& rectangle, const Picture& picture);

/// Reads the first picture of a file. Throws a `Failure` where it is missing, no picture, damaged or beyond
/// the limit.
Picture ReadPicture(const std::string& name, const MemoryLimit& limit, const Environment& environment);

/// Throws the `Failure` "cannot read NAME: ..." for anything but a regular file: picture libraries seek.
void CheckIsFile(const std::string& name);

/// Writes a picture in the format that the extension of `name` names; without one, in the format that the
/// picture was read from. Samples keep their type where the format has it and get the closest that it has
/// otherwise, which the environment's notes then say. Throws a `Failure`.
void WritePicture(const std::string& name, const Picture& picture, Environment& environment);

/// For the help: the formats that can be read, those that can be written, and what becomes of metadata.
extern const char* const kReadFormats;
extern const char* const kWrittenFormats;
extern const char* const kMetadataHelp;

}  // namespace nuvra::app
