#include "tiles.h"

#include <algorithm>

#include "failure.h"
#include "pixel_transfer.h"
#include "progress.h"

namespace nuvra::app {

namespace {

constexpr Int64 kSmallestLimit = 64;

/// Images that any piece fits into.
struct Images {
    Int64 width = 0;
    Int64 height = 0;
    OpenCLMemoryObjectRef source;
    OpenCLMemoryObjectRef destination;
};

Images MakeImages(const Gpu& gpu, const SampleType& type, Extent wanted) {
    while (true) {
        auto source = TryMakeImage(gpu, type, OpenCLMemoryFlags::READ_ONLY, wanted);
        auto destination = source.IsOk() ? TryMakeImage(gpu, type, OpenCLMemoryFlags::WRITE_ONLY, wanted)
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
    const Images images =
        MakeImages(gpu, *picture.type, {std::min(rectangle.width, limit), std::min(rectangle.height, limit)});
    PixelTransfer transfer(gpu, picture);
    Progress progress(terminal, "working on " + gpu.name, rectangle.width * rectangle.height);
    for (Int64 y = 0; y < rectangle.height; y += images.height) {
        for (Int64 x = 0; x < rectangle.width; x += images.width) {
            const Tile tile{images.source, images.destination, std::min(images.width, rectangle.width - x),
                            std::min(images.height, rectangle.height - y)};
            const Rectangle piece{rectangle.x + x, rectangle.y + y, tile.width, tile.height};
            transfer.Send(picture, piece, images.source);
            execute(tile);
            transfer.Fetch(images.destination, 0, 0, picture, piece);
            progress.Advance(tile.width * tile.height);
        }
    }
}

}  // namespace nuvra::app
