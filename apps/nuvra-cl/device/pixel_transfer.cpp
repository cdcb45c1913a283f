#include "device/pixel_transfer.h"

namespace nuvra::app {

namespace {

struct Region {
    size_t origin[3];
    size_t size[3];

    Region(Int64 x, Int64 y, const Rectangle& rectangle)
        : origin{static_cast<size_t>(x), static_cast<size_t>(y), 0},
          size{static_cast<size_t>(rectangle.width), static_cast<size_t>(rectangle.height), 1} {}
};

}  // namespace

PixelTransfer::PixelTransfer(const Device& device, const PictureHead& picture)
    : _device(device), _channels(picture.layout, picture.name), _type(*picture.type) {}

unsigned char* PixelTransfer::GetRow(Int64 row, Int64 width) {
    return _rgba.data() + static_cast<size_t>(row * width) * 4 * _type.bytes;
}

void PixelTransfer::Send(const Picture& picture, const Rectangle& rectangle,
                         const OpenCLMemoryObjectRef& image, Int64 x, Int64 y) {
    const Int64 width = rectangle.width;
    _rgba.resize(static_cast<size_t>(width * rectangle.height) * 4 * _type.bytes);
    for (Int64 i = 0; i < rectangle.height; i++)
        _channels.ToDevice(_type, picture.GetPixel(rectangle.x, rectangle.y + i), GetRow(i, width),
                           static_cast<size_t>(width));
    const Region region(x, y, rectangle);
    _device.Check(
        _device.queue.EnqueueWriteImage(image, true, region.origin, region.size, 0, 0, _rgba.data()),
        "send the picture to an image");
}

void PixelTransfer::Fetch(const OpenCLMemoryObjectRef& image, Int64 x, Int64 y, Picture& picture,
                          const Rectangle& rectangle) {
    const Int64 width = rectangle.width;
    _rgba.resize(static_cast<size_t>(width * rectangle.height) * 4 * _type.bytes);
    const Region region(x, y, rectangle);
    _device.Check(_device.queue.EnqueueReadImage(image, true, region.origin, region.size, 0, 0, _rgba.data()),
                  "get the result back from an image");
    for (Int64 i = 0; i < rectangle.height; i++)
        _channels.FromDevice(_type, GetRow(i, width), picture.GetPixel(rectangle.x, rectangle.y + i),
                             static_cast<size_t>(width));
}

Result<OpenCLMemoryObjectRef> TryMakeImage(const Device& device, const SampleType& type, UInt32 flags,
                                           Extent size) {
    return device.context.CreateImage2D(flags, {OpenCLChannelOrder::RGBA, type.device},
                                        static_cast<UInt64>(size.width), static_cast<UInt64>(size.height));
}

OpenCLMemoryObjectRef MakeImage(const Device& device, const SampleType& type, UInt32 flags, Extent size) {
    return device.Check(TryMakeImage(device, type, flags, size),
                        "make an image of " + DescribeSize(size.width, size.height) + " pixels");
}

}  // namespace nuvra::app
