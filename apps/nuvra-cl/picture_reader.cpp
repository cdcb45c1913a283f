#include <OpenImageIO/imagebufalgo.h>

#include <limits>

#include "failure.h"
#include "picture.h"
#include "progress.h"
#include "system.h"

namespace nuvra::app {

namespace {

[[noreturn]] void Fail(const std::filesystem::path& path, const std::string& reason) {
    throw Failure("cannot read " + Quote(path.string()) + ": " + reason);
}

void CheckIsFile(const std::filesystem::path& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) Fail(path, error ? error.message() : "there is no such file");
    if (std::filesystem::is_directory(status)) Fail(path, "it is a folder");
    std::FILE* file = std::fopen(path.string().c_str(), "rb");
    if (file == nullptr) Fail(path, DescribeSystemError(errno));
    std::fclose(file);
}

}  // namespace

Picture MakePicture(const OIIO::ImageSpec& spec, const std::string& name, const std::string& format) {
    Picture picture{spec, name, format, &ChooseSampleType(spec.format), nullptr};
    if (spec.width < 1 || spec.height < 1)
        throw Failure("cannot work on " + Quote(name) + ": it has no pixels");
    const auto pixels = static_cast<size_t>(spec.width) * static_cast<size_t>(spec.height);
    if (pixels > std::numeric_limits<size_t>::max() / 2 / picture.GetPixelBytes())
        throw std::bad_array_new_length();
    picture.samples = std::make_unique_for_overwrite<unsigned char[]>(pixels * picture.GetPixelBytes());
    return picture;
}

Picture ReadPicture(const std::filesystem::path& path, const Environment& environment) {
    CheckIsFile(path);
    const SilencedStandardError silence;
    OIIO::ImageSpec wishes;
    wishes.attribute("oiio:UnassociatedAlpha", 1);
    const auto input = OIIO::ImageInput::open(path.string(), &wishes);
    if (input == nullptr)
        Fail(path, "it is no picture (" + FirstLine(OIIO::geterror(), "unknown format") + ")");
    const OIIO::ImageSpec spec = input->spec();
    if (spec.deep || spec.depth > 1) Fail(path, "deep pictures and volumes cannot be worked on");
    if (!spec.format.is_array() && spec.format.basetype <= OIIO::TypeDesc::NONE)
        Fail(path, "its sample type is unknown");
    static_cast<void>(ChannelMap(spec, path.string()));
    Picture picture = MakePicture(spec, path.string(), input->format_name());
    Progress progress(environment.terminal, "reading " + path.filename().string(), 1000);
    const auto show = [](void* shown, float done) {
        static_cast<Progress*>(shown)->Show(static_cast<Int64>(done * 1000));
        return false;
    };
    const bool isRead =
        input->read_image(0, 0, 0, spec.nchannels, picture.type->memory, picture.samples.get(),
                          OIIO::AutoStride, OIIO::AutoStride, OIIO::AutoStride, show, &progress);
    // Some readers fill what is missing, report it and call it a success.
    if (!isRead || input->has_error())
        Fail(path, "it is damaged or cut short (" + FirstLine(input->geterror(), "no reason given") + ")");
    if (picture.format == "webp" && spec.alpha_channel >= 0) {
        // This reader multiplies whatever it is asked for.
        OIIO::ImageBuf multiplied(spec, picture.samples.get());
        OIIO::ImageBufAlgo::unpremult(multiplied, multiplied);
    }
    return picture;
}

}  // namespace nuvra::app
