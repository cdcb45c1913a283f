#include <OpenImageIO/imagebufalgo.h>

#include "failure.h"
#include "nuvra/file_name.h"
#include "picture_origin.h"
#include "progress.h"
#include "system.h"

namespace nuvra::app {

const char* const kReadFormats = "PNG, JPEG, TIFF, OpenEXR and more";

namespace {

[[noreturn]] void Fail(const std::string& name, const std::string& reason) {
    throw Failure("cannot read " + Quote(name) + ": " + reason);
}

/// The samples in memory that keep the file's best: what memory lacks becomes float.
Samples ChooseSamples(OIIO::TypeDesc type) {
    for (const Samples candidate : {Samples::UINT8, Samples::UINT16, Samples::HALF})
        if (ToOpenImageIO(candidate) == type.basetype) return candidate;
    return Samples::FLOAT;
}

PictureLayout ToLayout(const OIIO::ImageSpec& spec) {
    return {spec.width, spec.height, spec.channelnames, spec.alpha_channel};
}

}  // namespace

Picture ReadPicture(const std::string& name, const Environment& environment) {
    CheckIsFile(name);
    const LibraryJob job("the library that reads pictures failed on " + Quote(name));
    const SilencedStandardError silence;
    OIIO::ImageSpec wishes;
    wishes.attribute("oiio:UnassociatedAlpha", 1);
    const auto input = OIIO::ImageInput::open(name, &wishes);
    if (input == nullptr)
        Fail(name, "it is no picture (" + FirstLine(OIIO::geterror(), "unknown format") + ")");
    const OIIO::ImageSpec spec = input->spec();
    if (spec.deep || spec.depth > 1) Fail(name, "deep pictures and volumes cannot be worked on");
    if (!spec.format.is_array() && spec.format.basetype <= OIIO::TypeDesc::NONE)
        Fail(name, "its sample type is unknown");
    const PictureLayout layout = ToLayout(spec);
    static_cast<void>(ChannelMap(layout, name));
    Picture picture = MakePicture(layout, ChooseSamples(spec.format), name);
    picture.format = input->format_name();
    picture.fileType = spec.format.c_str();
    picture.origin = std::make_shared<PictureOrigin>(PictureOrigin{spec});
    Progress progress(environment.terminal, "reading " + host::ToText(host::ToPath(name).filename()), 1000);
    const auto show = [](void* shown, float done) {
        static_cast<Progress*>(shown)->Show(static_cast<Int64>(done * 1000));
        return false;
    };
    const bool isRead = input->read_image(0, 0, 0, spec.nchannels, ToOpenImageIO(picture.type->samples),
                                          picture.samples.get(), OIIO::AutoStride, OIIO::AutoStride,
                                          OIIO::AutoStride, show, &progress);
    // Some readers fill what is missing, report it and call it a success.
    if (!isRead || input->has_error())
        Fail(name, "it is damaged or cut short (" + FirstLine(input->geterror(), "no reason given") + ")");
    if (picture.format == "webp" && spec.alpha_channel >= 0) {
        // This reader multiplies whatever it is asked for.
        OIIO::ImageBuf multiplied(spec, picture.samples.get());
        OIIO::ImageBufAlgo::unpremult(multiplied, multiplied);
    }
    return picture;
}

}  // namespace nuvra::app
