#pragma once

#include <vector>

#include "picture.h"
#include "session.h"
#include "values.h"

namespace nuvra::app {

/// A side larger than any picture format has is a mistake.
inline constexpr Int64 kLargestSide = Int64{1} << 24;

/// Moves pixels between pictures in memory and RGBA images on a device.
class PixelTransfer {
public:
    /// For pictures with the channels and the sample type of `picture`. Throws a `Failure` for channels that
    /// have no place in RGBA.
    PixelTransfer(const Gpu& gpu, const Picture& picture);

    /// Writes a rectangle of the picture to the upper left corner of the image.
    void Send(const Picture& picture, const Rectangle& rectangle, const OpenCLMemoryObjectRef& image);
    /// Reads the pixels of the image from (x, y) on into a rectangle of the picture.
    void Fetch(const OpenCLMemoryObjectRef& image, Int64 x, Int64 y, Picture& picture,
               const Rectangle& rectangle);

private:
    unsigned char* GetRow(Int64 row, Int64 width);

    const Gpu& _gpu;
    ChannelMap _channels;
    const SampleType& _type;
    std::vector<unsigned char> _rgba;
};

/// A new image, or the runtime's error.
Result<OpenCLMemoryObjectRef> TryMakeImage(const Gpu& gpu, const SampleType& type, UInt32 flags, Extent size);
/// The same, throwing a `Failure` that names the size.
OpenCLMemoryObjectRef MakeImage(const Gpu& gpu, const SampleType& type, UInt32 flags, Extent size);

/// The longest side of an image that the device can make, up to that of any picture.
Int64 FindImageLimit(const Gpu& gpu, const SampleType& type);

/// Whether the error is an answer to an image that is too large for the device.
bool MayBeTooLarge(const ErrorRef& error);

/// "1920 x 1080".
std::string DescribeSize(Int64 width, Int64 height);

}  // namespace nuvra::app
