#include "pictures/picture.h"

#include <limits>

#include "console/failure.h"
#include "pictures/geometry.h"

namespace nuvra::app {

Picture MakePicture(const PictureLayout& layout, Samples samples, const std::string& name) {
    const SampleType& type = GetSampleType(samples);
    Picture picture{{layout, name, "png", type.name, &type, nullptr}, nullptr};
    if (layout.width < 1 || layout.height < 1)
        throw Failure("cannot work on " + Quote(name) + ": it has no pixels");
    const double bytes = GetClaim(layout, type).bytes;
    constexpr double kMost = static_cast<double>(std::numeric_limits<std::ptrdiff_t>::max()) / 2;
    const size_t size =
        bytes > kMost ? 0 : static_cast<size_t>(layout.width * layout.height) * picture.GetPixelBytes();
    if (size > 0) picture.samples.reset(new (std::nothrow) unsigned char[size]);
    if (picture.samples == nullptr)
        throw Failure("cannot hold " + Quote(name) + ": its " + DescribeSize(layout.width, layout.height) +
                      " pixels need " + DescribeBytes(bytes) + " of memory, more than there is");
    return picture;
}

PictureHead DescribeLike(const PictureHead& other, Int64 width, Int64 height, const std::string& name,
                         const MemoryLimit& limit) {
    PictureHead head = other;
    head.name = name;
    head.layout.width = width;
    head.layout.height = height;
    limit.CheckResult(name, GetClaim(head.layout, *head.type));
    return head;
}

Picture MakeBand(const PictureHead& picture, Int64 rows) {
    PictureLayout layout = picture.layout;
    layout.height = rows;
    Picture band = MakePicture(layout, picture.type->samples, picture.name);
    band.format = picture.format;
    band.fileType = picture.fileType;
    band.origin = picture.origin;
    return band;
}

void CheckRectangle(const Rectangle& rectangle, const PictureHead& picture) {
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

}  // namespace nuvra::app
