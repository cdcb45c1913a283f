#pragma once

#include <vector>

#include "device/session.h"
#include "pictures/picture.h"

namespace nuvra::app {

/// Moves pixels between pictures in memory and RGBA images on a device.
class PixelTransfer {
public:
    /// For pictures with the channels and the sample type of `picture`. Throws a `Failure` for channels that
    /// have no place in RGBA.
    PixelTransfer(const Device& device, const PictureHead& picture);

    /// Writes a rectangle of the picture to the pixels of the image from (x, y) on.
    void Send(const Picture& picture, const Rectangle& rectangle, const OpenCLMemoryObjectRef& image, Int64 x,
              Int64 y);
    /// Reads the pixels of the image from (x, y) on into a rectangle of the picture.
    void Fetch(const OpenCLMemoryObjectRef& image, Int64 x, Int64 y, Picture& picture,
               const Rectangle& rectangle);

private:
    unsigned char* GetRow(Int64 row, Int64 width);

    const Device& _device;
    ChannelMap _channels;
    const SampleType& _type;
    std::vector<unsigned char> _rgba;
};

/// A new image, or the runtime's error.
Result<OpenCLMemoryObjectRef> TryMakeImage(const Device& device, const SampleType& type, UInt32 flags,
                                           Extent size);
/// The same, throwing a `Failure` that names the size.
OpenCLMemoryObjectRef MakeImage(const Device& device, const SampleType& type, UInt32 flags, Extent size);

}  // namespace nuvra::app
