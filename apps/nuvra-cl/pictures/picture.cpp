#include "pictures/picture.h"

#include <cerrno>
#include <limits>

#include "console/failure.h"
#include "nuvra/host/file_name.h"
#include "pictures/geometry.h"
#include "system/system.h"

namespace nuvra::app {

namespace {

/// Null for a regular file.
const char* DescribeKind(std::filesystem::file_type type) {
    switch (type) {
        case std::filesystem::file_type::regular:
            return nullptr;
        case std::filesystem::file_type::directory:
            return "folder";
        case std::filesystem::file_type::fifo:
            return "pipe";
        case std::filesystem::file_type::socket:
            return "socket";
        default:
            return "device";
    }
}

}  // namespace

PictureClaim GetClaim(const PictureLayout& layout, const SampleType& type) {
    return {layout.width, layout.height,
            static_cast<double>(layout.width) * static_cast<double>(layout.height) *
                static_cast<double>(layout.channels.size() * type.bytes)};
}

Picture MakePicture(const PictureLayout& layout, Samples samples, const std::string& name) {
    const SampleType& type = GetSampleType(samples);
    Picture picture{layout, name, "png", type.name, &type, nullptr, nullptr};
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

Picture MakePictureLike(const Picture& other, Int64 width, Int64 height, const std::string& name,
                        const MemoryLimit& limit) {
    PictureLayout layout = other.layout;
    layout.width = width;
    layout.height = height;
    limit.CheckResult(name, GetClaim(layout, *other.type));
    Picture picture = MakePicture(layout, other.type->samples, name);
    picture.format = other.format;
    picture.fileType = other.fileType;
    picture.origin = other.origin;
    return picture;
}

void CheckIsFile(const std::string& name) {
    const auto fail = [&](const std::string& why) {
        throw Failure("cannot read " + Quote(name) + ": " + why);
    };
    const std::filesystem::path path = host::ToPath(name);
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) fail(error ? error.message() : "there is no such file");
    if (const char* kind = DescribeKind(status.type()))
        fail(std::string("it is a ") + kind + "; pictures are read from files");
    std::FILE* file = host::OpenFile(path, "rb");
    if (file == nullptr) fail(DescribeSystemError(errno));
    std::fclose(file);
}

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

}  // namespace nuvra::app
