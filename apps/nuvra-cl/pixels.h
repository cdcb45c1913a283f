#pragma once

#include <OpenImageIO/imageio.h>

#include <array>

#include "nuvra/open_cl_memoryobject.h"

namespace nuvra::app {

/// How samples of pictures are held in memory and on the device.
struct SampleType {
    OIIO::TypeDesc::BASETYPE memory;
    OpenCLChannelDataType device;
    size_t bytes;
    UInt32 one;  ///< the bits of the value 1
};

/// The type that keeps samples of `type` best: 8- and 16-bit unsigned, half and float stay what they are, all
/// others travel as float.
const SampleType& ChooseSampleType(OIIO::TypeDesc type);

/// Which of a picture's channels are red, green, blue and alpha on the device. A single colour channel is all
/// three colours; without an alpha channel a fourth one takes its place, and otherwise alpha is 1.
class ChannelMap {
public:
    /// Throws a `Failure` for more than three colours beside alpha.
    explicit ChannelMap(const OIIO::ImageSpec& spec, const std::string& picture);

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
