#include "tiles.h"

#include <algorithm>
#include <vector>

#include "failure.h"
#include "progress.h"

namespace nuvra::app {

namespace {

constexpr Int64 kSmallestLimit = 64;

/// Answers to an image that is too large for the device. Runtimes differ: some call any image that they
/// cannot make an invalid operation.
bool MayBeTooLarge(const ErrorRef& error) {
    switch (static_cast<OpenCLErrorCode>(GetCode(error))) {
        case OpenCLErrorCode::INVALID_IMAGE_SIZE:
        case OpenCLErrorCode::INVALID_OPERATION:
        case OpenCLErrorCode::MEM_OBJECT_ALLOCATION_FAILURE:
        case OpenCLErrorCode::OUT_OF_RESOURCES:
            return true;
        default:
            return false;
    }
}

std::string DescribeSize(Int64 width, Int64 height) {
    return std::to_string(width) + " x " + std::to_string(height);
}

/// Images that any piece fits into.
struct Images {
    Int64 width = 0;
    Int64 height = 0;
    OpenCLMemoryObjectRef source;
    OpenCLMemoryObjectRef destination;
};

Images MakeImages(const Gpu& gpu, const SampleType& type, Extent wanted) {
    const OpenCLImageFormat format{OpenCLChannelOrder::RGBA, type.device};
    while (true) {
        const auto width = static_cast<UInt64>(wanted.width);
        const auto height = static_cast<UInt64>(wanted.height);
        auto source = gpu.context.CreateImage2D(OpenCLMemoryFlags::READ_ONLY, format, width, height);
        auto destination =
            source.IsOk() ? gpu.context.CreateImage2D(OpenCLMemoryFlags::WRITE_ONLY, format, width, height)
                          : Result<OpenCLMemoryObjectRef>(source.GetError());
        const bool isSmallest = std::max(wanted.width, wanted.height) <= kSmallestLimit;
        if (destination.IsOk() || isSmallest || !MayBeTooLarge(destination.GetError())) {
            const std::string action =
                "make an image of " + DescribeSize(wanted.width, wanted.height) + " pixels";
            OpenCLMemoryObjectRef made = gpu.Check(std::move(destination), action);
            return {wanted.width, wanted.height, std::move(source).GetValue(), std::move(made)};
        }
        Int64& longer = wanted.width > wanted.height ? wanted.width : wanted.height;
        longer = (longer + 1) / 2;
    }
}

/// Where a transfer between host and an image starts and how far it goes.
struct Region {
    size_t origin[3] = {0, 0, 0};
    size_t size[3];
};

}  // namespace

void CheckRectangle(const Rectangle& rectangle, const Picture& picture) {
    const auto [x, y, width, height] = rectangle;
    if (width > 0 && height > 0 && x >= 0 && y >= 0 && width <= picture.GetWidth() - x &&
        height <= picture.GetHeight() - y)
        return;
    const std::string text = std::to_string(x) + "," + std::to_string(y) + "," + std::to_string(width) + "," +
                             std::to_string(height);
    throw Failure("the rectangle " + text + (width > 0 && height > 0 ? " leaves " : " is empty; ") +
                  Quote(picture.name) + (width > 0 && height > 0 ? ", which" : "") + " has " +
                  DescribeSize(picture.GetWidth(), picture.GetHeight()) + " pixels");
}

void WorkInTiles(const Gpu& gpu, Picture& picture, const Rectangle& rectangle, Int64 limit,
                 std::FILE* terminal, const std::function<void(const Tile& tile)>& execute) {
    const ChannelMap channels(picture.spec, picture.name);
    const SampleType& type = *picture.type;
    const Images images =
        MakeImages(gpu, type, {std::min(rectangle.width, limit), std::min(rectangle.height, limit)});
    std::vector<unsigned char> rgba(static_cast<size_t>(images.width * images.height) * 4 * type.bytes);
    Progress progress(terminal, "working on " + gpu.name, rectangle.width * rectangle.height);
    for (Int64 y = 0; y < rectangle.height; y += images.height) {
        for (Int64 x = 0; x < rectangle.width; x += images.width) {
            const Tile tile{images.source, images.destination, std::min(images.width, rectangle.width - x),
                            std::min(images.height, rectangle.height - y)};
            const auto width = static_cast<size_t>(tile.width);
            const Region region{.size = {width, static_cast<size_t>(tile.height), 1}};
            const auto pixel = [&](Int64 row) {
                return picture.GetPixel(rectangle.x + x, rectangle.y + y + row);
            };
            const auto row = [&](Int64 index) {
                return rgba.data() + static_cast<size_t>(index) * width * 4 * type.bytes;
            };
            for (Int64 i = 0; i < tile.height; i++) channels.ToDevice(type, pixel(i), row(i), width);
            gpu.Check(gpu.queue.EnqueueWriteImage(images.source, true, region.origin, region.size, 0, 0,
                                                  rgba.data()),
                      "send the picture to an image");
            execute(tile);
            gpu.Check(gpu.queue.EnqueueReadImage(images.destination, true, region.origin, region.size, 0, 0,
                                                 rgba.data()),
                      "get the result back from an image");
            for (Int64 i = 0; i < tile.height; i++) channels.FromDevice(type, row(i), pixel(i), width);
            progress.Advance(tile.width * tile.height);
        }
    }
}

}  // namespace nuvra::app
