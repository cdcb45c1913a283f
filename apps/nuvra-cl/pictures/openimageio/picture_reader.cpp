#include <OpenImageIO/imagebufalgo.h>

#include <cmath>
#include <filesystem>

#include "console/failure.h"
#include "console/progress.h"
#include "nuvra/host/file_name.h"
#include "pictures/openimageio/picture_claim.h"
#include "pictures/openimageio/picture_origin.h"
#include "system/system.h"

namespace nuvra::app {

const char* const kReadFormats = "PNG, JPEG, TIFF, OpenEXR and more";

namespace {

[[noreturn]] void Fail(const std::string& name, const std::string& reason) {
    throw Failure("cannot read " + Quote(name) + ": " + reason);
}

/// The sample type in memory for a file's type; a type without one becomes float.
Samples ChooseSamples(OIIO::TypeDesc type) {
    for (const Samples candidate : {Samples::UINT8, Samples::UINT16, Samples::HALF})
        if (ToOpenImageIO(candidate) == type.basetype) return candidate;
    return Samples::FLOAT;
}

/// The usual channel names where the reader does not name every channel.
void NameChannels(OIIO::ImageSpec& spec) {
    if (spec.channelnames.size() == static_cast<size_t>(spec.nchannels)) return;
    spec.default_channel_names();
    if (spec.nchannels < 1 || spec.nchannels > 4) return;
    const PictureLayout usual = MakeLayout(spec.width, spec.height, spec.nchannels);
    spec.channelnames = usual.channels;
    spec.alpha_channel = usual.alpha;
}

/// Peak memory while reading: the reader may hold a row of tiles, or a second copy of the picture.
PictureClaim GetReadingClaim(const OIIO::ImageSpec& spec, const std::string& format, PictureClaim claim) {
    if (format == "iff" || format == "targa") claim.bytes *= 2;
    if (spec.tile_width > 0) {
        const double columns = std::ceil(static_cast<double>(spec.width) / spec.tile_width);
        claim.bytes += columns * static_cast<double>(spec.tile_bytes());
    }
    return claim;
}

/// Opens the file; `spec` describes its first picture, every channel named. Throws a `Failure` for what
/// cannot be worked on.
std::unique_ptr<OIIO::ImageInput> Open(const std::string& name, OIIO::ImageSpec& spec) {
    OIIO::ImageSpec wishes;
    wishes.attribute("oiio:UnassociatedAlpha", 1);
    auto input = OIIO::ImageInput::open(name, &wishes);
    // The library's format "null" invents pictures.
    if (input == nullptr || std::string_view(input->format_name()) == "null")
        Fail(name, "it is no picture (" + FirstLine(OIIO::geterror(), "unknown format") + ")");
    spec = input->spec();
    if (spec.deep || spec.depth > 1) Fail(name, "deep pictures and volumes cannot be worked on");
    if (!spec.format.is_array() && spec.format.basetype <= OIIO::TypeDesc::NONE)
        Fail(name, "its sample type is unknown");
    NameChannels(spec);
    return input;
}

void ReadSamples(OIIO::ImageInput& input, const Picture& picture, std::FILE* terminal) {
    struct Reading {
        Progress progress;
        OIIO::ImageInput& input;
    } reading{{terminal, "reading " + host::ToText(host::ToPath(picture.name).filename()), 1000}, input};
    // Some readers fill in missing pixels, report an error and still return true: stop at the first error.
    const auto show = [](void* shown, float done) {
        auto& [progress, reader] = *static_cast<Reading*>(shown);
        progress.Show(static_cast<Int64>(done * 1000));
        return reader.has_error();
    };
    const bool isRead = input.read_image(
        0, 0, 0, static_cast<int>(picture.layout.channels.size()), ToOpenImageIO(picture.type->samples),
        picture.samples.get(), OIIO::AutoStride, OIIO::AutoStride, OIIO::AutoStride, show, &reading);
    if (!isRead || input.has_error())
        Fail(picture.name,
             "it is damaged or cut short (" + FirstLine(input.geterror(), "no reason given") + ")");
}

Picture ReadWithin(const std::string& name, const MemoryLimit& limit, std::FILE* terminal) {
    if (const auto claim = ReadClaim(name)) limit.CheckFile(name, *claim);
    OIIO::ImageSpec spec;
    const auto input = Open(name, spec);
    const PictureLayout layout{spec.width, spec.height, spec.channelnames, spec.alpha_channel};
    static_cast<void>(ChannelMap(layout, name));
    const Samples samples = ChooseSamples(spec.format);
    limit.CheckFile(name,
                    GetReadingClaim(spec, input->format_name(), GetClaim(layout, GetSampleType(samples))));
    Picture picture = MakePicture(layout, samples, name);
    picture.format = input->format_name();
    picture.fileType = spec.format.c_str();
    picture.origin = std::make_shared<PictureOrigin>(PictureOrigin{spec});
    ReadSamples(*input, picture, terminal);
    if (picture.format == "webp" && spec.alpha_channel >= 0) {
        // This reader premultiplies, whatever it is asked for.
        OIIO::ImageBuf multiplied(spec, picture.samples.get());
        OIIO::ImageBufAlgo::unpremult(multiplied, multiplied);
    }
    return picture;
}

}  // namespace

Picture ReadPicture(const std::string& name, const MemoryLimit& limit, const Environment& environment) {
    CheckIsFile(name);
    const LibraryJob job("the library that reads pictures failed on " + Quote(name));
    const SilencedStandardError silence;
    const auto size = static_cast<double>(std::filesystem::file_size(host::ToPath(name)));
    return WithMemoryFor([&] { return ReadWithin(name, limit, environment.terminal); },
                         "cannot read " + Quote(name) + " of " + DescribeBytes(size) +
                             ": it is damaged or needs more memory than there is");
}

}  // namespace nuvra::app
