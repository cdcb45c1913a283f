#include <OpenImageIO/imagebufalgo.h>

#include <cmath>

#include "console/failure.h"
#include "pictures/openimageio/picture_claim.h"
#include "pictures/openimageio/picture_files.h"

namespace nuvra::app {

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

class Reader : public PictureReader {
public:
    Reader(const std::string& name, const CheckClaim& check);
    void Read(Int64 begin, Int64 end, unsigned char* pixels) override;

private:
    OIIO::ImageSpec _spec;
    std::unique_ptr<OIIO::ImageInput> _input;
};

Reader::Reader(const std::string& name, const CheckClaim& check) {
    if (const auto claim = ReadClaim(name)) check(*claim);
    _input = Open(name, _spec);
    const SampleType& type = GetSampleType(ChooseSamples(_spec.format));
    head = {{_spec.width, _spec.height, _spec.channelnames, _spec.alpha_channel},
            name,
            _input->format_name(),
            _spec.format.c_str(),
            &type,
            std::make_shared<PictureOrigin>(PictureOrigin{_spec})};
    static_cast<void>(ChannelMap(head.layout, name));
    check(GetReadingClaim(_spec, head.format, GetClaim(head.layout, type)));
    step = GetRowStep(_spec);
}

void Reader::Read(Int64 begin, Int64 end, unsigned char* pixels) {
    if (!ReadRows(*_input, _spec, begin, end, ToOpenImageIO(head.type->samples), pixels))
        Fail(head.name,
             "it is damaged or cut short (" + FirstLine(_input->geterror(), "no reason given") + ")");
    if (head.format == "webp" && _spec.alpha_channel >= 0) {
        // This reader premultiplies, whatever it is asked for.
        OIIO::ImageSpec rows = _spec;
        rows.height = static_cast<int>(end - begin);
        OIIO::ImageBuf multiplied(rows, pixels);
        OIIO::ImageBufAlgo::unpremult(multiplied, multiplied);
    }
}

}  // namespace

bool ReadRows(OIIO::ImageInput& input, const OIIO::ImageSpec& spec, Int64 begin, Int64 end,
              OIIO::TypeDesc type, void* pixels) {
    const int top = spec.y + static_cast<int>(begin);
    const int bottom = spec.y + static_cast<int>(end);
    const bool isRead =
        spec.tile_width > 0
            ? input.read_tiles(0, 0, spec.x, spec.x + spec.width, top, bottom, spec.z, spec.z + 1, 0,
                               spec.nchannels, type, pixels)
            : input.read_scanlines(0, 0, top, bottom, spec.z, 0, spec.nchannels, type, pixels);
    // Some readers fill in missing pixels, report an error and still return true.
    return isRead && !input.has_error();
}

std::unique_ptr<PictureReader> OpenReader(const std::string& name, const CheckClaim& check) {
    return std::make_unique<Reader>(name, check);
}

}  // namespace nuvra::app
