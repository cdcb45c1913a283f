#pragma once

#include <OpenImageIO/imageio.h>

#include <filesystem>
#include <memory>

#include "environment.h"
#include "pixels.h"

namespace nuvra::app {

/// A picture in memory: its channels interleaved, row after row without gaps. Colours are as the file has
/// them, neither multiplied nor divided by alpha.
struct Picture {
    OIIO::ImageSpec spec;  ///< as read: sizes, channels, the file's sample type, metadata
    std::string name;      ///< for messages
    std::string format;    ///< by OpenImageIO's name, "png" for example
    const SampleType* type = nullptr;
    std::unique_ptr<unsigned char[]> samples;

    Int64 GetWidth() const { return spec.width; }
    Int64 GetHeight() const { return spec.height; }
    size_t GetPixelBytes() const { return type->bytes * static_cast<size_t>(spec.nchannels); }
    unsigned char* GetPixel(Int64 x, Int64 y) const {
        return samples.get() + static_cast<size_t>(y * GetWidth() + x) * GetPixelBytes();
    }
};

/// An empty picture, its samples not initialised. Throws a `Failure` when the sides are not positive or the
/// samples cannot be held.
Picture MakePicture(const OIIO::ImageSpec& spec, const std::string& name, const std::string& format);

/// Reads the first picture of a file. Throws a `Failure` where it is missing, no picture or damaged.
Picture ReadPicture(const std::filesystem::path& path, const Environment& environment);

/// Writes a picture in the format that the extension of `path` names; without one, in the format that the
/// picture was read from. Samples keep their type where the format has it and get the closest that it has
/// otherwise, which the environment's notes then say. Throws a `Failure`.
void WritePicture(const std::filesystem::path& path, const Picture& picture, Environment& environment);

}  // namespace nuvra::app
