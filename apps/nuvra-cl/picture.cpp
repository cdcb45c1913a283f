#include "picture.h"

#include <cerrno>
#include <limits>

#include "failure.h"
#include "nuvra/file_name.h"
#include "system.h"

namespace nuvra::app {

Picture MakePicture(const PictureLayout& layout, Samples samples, const std::string& name) {
    const SampleType& type = GetSampleType(samples);
    Picture picture{layout, name, "png", type.name, &type, nullptr, nullptr};
    if (layout.width < 1 || layout.height < 1)
        throw Failure("cannot work on " + Quote(name) + ": it has no pixels");
    const auto width = static_cast<size_t>(layout.width);
    const auto height = static_cast<size_t>(layout.height);
    if (width > std::numeric_limits<size_t>::max() / 2 / picture.GetPixelBytes() / height)
        throw std::bad_array_new_length();
    picture.samples =
        std::make_unique_for_overwrite<unsigned char[]>(width * height * picture.GetPixelBytes());
    return picture;
}

Picture MakePictureLike(const Picture& other, Int64 width, Int64 height, const std::string& name) {
    PictureLayout layout = other.layout;
    layout.width = width;
    layout.height = height;
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
    if (std::filesystem::is_directory(status)) fail("it is a folder");
    std::FILE* file = host::OpenFile(path, "rb");
    if (file == nullptr) fail(DescribeSystemError(errno));
    std::fclose(file);
}

}  // namespace nuvra::app
