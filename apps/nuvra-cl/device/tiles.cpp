#include "device/tiles.h"

#include <numeric>

#include "console/failure.h"
#include "device/pixel_transfer.h"

namespace nuvra::app {

namespace {

constexpr Int64 kSmallestTile = 64;

/// Runtimes differ: some return CL_INVALID_OPERATION for any image that they cannot make.
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

std::string DescribeMaking(const Extent& size) {
    return "make an image of " + DescribeSize(size.width, size.height) + " pixels";
}

}  // namespace

bool TileImages::CanMake(const TilePlan& plan) {
    Extent size;
    Result<void> made = TryMake(plan, size);
    if (!made.IsOk() && MayBeTooLarge(made.GetError())) return false;
    _device.Check(std::move(made), DescribeMaking(size));
    return true;
}

Extent TileImages::Fit(Extent limit, const std::function<TilePlan(const Extent& limit)>& plan) {
    while (std::max(limit.width, limit.height) > kSmallestTile && !CanMake(plan(limit))) {
        Int64& longer = limit.width > limit.height ? limit.width : limit.height;
        longer = (longer + 1) / 2;
    }
    Make(plan(limit));
    return limit;
}

void TileImages::Make(const TilePlan& plan) {
    Extent size;
    Result<void> made = TryMake(plan, size);
    _device.Check(std::move(made), DescribeMaking(size));
}

/// `size` becomes that of the last image that was asked for.
Result<void> TileImages::TryMake(const TilePlan& plan, Extent& size) {
    _plan.resize(plan.size());
    _images.resize(plan.size());
    // Memory of other sizes is given back first: there may not be enough for both.
    for (size_t i = 0; i < plan.size(); i++)
        if (_plan[i].size.width != plan[i].size.width || _plan[i].size.height != plan[i].size.height)
            _images[i] = {};
    _plan = plan;
    for (size_t i = 0; i < plan.size(); i++) {
        if (_images[i]) continue;
        size = plan[i].size;
        NUVRA_ASSIGN_OR_RETURN(_images[i], TryMakeImage(_device, *plan[i].type, plan[i].flags, size));
    }
    return {};
}

Int64 FindLongestSide(const Device& device, const SampleType& type) {
    const auto canMake = [&](const Extent& size) {
        return TryMakeImage(device, type, OpenCLMemoryFlags::READ_ONLY, size).IsOk();
    };
    Int64 works = 1;
    Int64 fails = kLargestSide;
    while (fails - works > 1) {
        const Int64 side = std::midpoint(works, fails);
        (canMake({side, 1}) && canMake({1, side}) ? works : fails) = side;
    }
    return works;
}

}  // namespace nuvra::app
