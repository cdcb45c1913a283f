#pragma once

#include <algorithm>
#include <functional>
#include <vector>

#include "device/session.h"
#include "pictures/geometry.h"
#include "pictures/pixels.h"

namespace nuvra::app {

/// What a tile of a picture needs on the device.
struct TileImage {
    const SampleType* type;
    UInt32 flags;
    Extent size;
};
using TilePlan = std::vector<TileImage>;

/// The images of one tile after the other. Every operation throws `Failure`.
class TileImages {
public:
    explicit TileImages(const Device& device) : _device(device) {}

    /// Makes the images of a tile. False where the device refuses them and may make smaller ones.
    bool CanMake(const TilePlan& plan);
    /// Makes the images of the largest tile, which `plan` tells for tiles of at most `limit` pixels. As long
    /// as the device refuses them, the longer side of `limit` is halved. The result is the limit that is
    /// left.
    Extent Fit(Extent limit, const std::function<TilePlan(const Extent& limit)>& plan);
    /// Makes the images of another tile; those that stay the same are kept.
    void Make(const TilePlan& plan);

    const OpenCLMemoryObjectRef& operator[](size_t index) const { return _images[index]; }

private:
    Result<void> TryMake(const TilePlan& plan, Extent& size);

    const Device& _device;
    TilePlan _plan;
    std::vector<OpenCLMemoryObjectRef> _images;
};

/// The longest side of the device's images, by trial.
Int64 FindLongestSide(const Device& device, const SampleType& type);

/// Calls `work` for each tile of the rectangle, row by row.
template <class Work>
void ForEachTile(const Rectangle& rectangle, const Extent& tile, const Work& work) {
    const auto [left, top, width, height] = rectangle;
    for (Int64 y = 0; y < height; y += tile.height)
        for (Int64 x = 0; x < width; x += tile.width)
            work(Rectangle{left + x, top + y, std::min(tile.width, width - x),
                           std::min(tile.height, height - y)});
}

}  // namespace nuvra::app
