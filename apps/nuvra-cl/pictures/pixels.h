#pragma once

#include <array>
#include <string>
#include <vector>

#include "nuvra/open_cl_memoryobject.h"

namespace nuvra::app {

/// What a sample is in memory: an unsigned integer for 0 to 1, or a floating-point number.
enum class Samples { UINT8, UINT16, HALF, FLOAT };

/// How samples of pictures are held in memory and on the device.
struct SampleType {
    Samples samples;
    OpenCLChannelDataType device;
    const char* name;  ///< "uint8" for example
    size_t bytes;
    UInt32 one;  ///< the bits of the value 1
};

const SampleType& GetSampleType(Samples samples);

/// The shape of a picture.
struct PictureLayout {
    Int64 width = 0;  ///< pixels
    Int64 height = 0;
    std::vector<std::string> channels{};  ///< their names, "R" for example
    int alpha = -1;                       ///< which of them is alpha; negative for none
};

/// The usual channels: grey or RGB, the even numbers with alpha; `channelCount` is 1 to 4.
PictureLayout MakeLayout(Int64 width, Int64 height, int channelCount);

/// Which of a picture's channels are red, green, blue and alpha on the device. A single colour channel is all
/// three colours; without an alpha channel a fourth one takes its place, and otherwise alpha is 1.
class ChannelMap {
public:
    /// Throws a `Failure` for more than three colours beside alpha.
    explicit ChannelMap(const PictureLayout& layout, const std::string& picture);

    /// Copies `count` pixels of the picture's channels to RGBA.
    void ToDevice(const SampleType& type, const void* pixels, void* rgba, size_t count) const;
    /// Copies `count` RGBA pixels to the picture's channels.
    void FromDevice(const SampleType& type, const void* rgba, void* pixels, size_t count) const;

private:
    static constexpr size_t kZero = 4;
    static constexpr size_t kOne = 5;

    size_t _channelCount;
    std::array<size_t, 4> _sources;  ///< for each of RGBA, the picture's channel, `kZero` or `kOne`
    std::array<size_t, 4> _slots{};  ///< for each of the picture's channels, its place in RGBA
};

}  // namespace nuvra::app
