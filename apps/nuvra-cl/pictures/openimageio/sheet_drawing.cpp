#include <OpenImageIO/imagebufalgo.h>

#include "console/failure.h"
#include "pictures/openimageio/picture_files.h"

namespace nuvra::app {

using OIIO::ImageBuf;
using OIIO::ImageSpec;
using OIIO::TypeDesc;
namespace Algo = OIIO::ImageBufAlgo;

namespace {

/// The picture as float RGBA, premultiplied so that filters weigh transparent pixels right.
ImageBuf ToRgba(const Picture& picture) {
    const ChannelMap channels(picture.layout, picture.name);
    const SampleType& type = *picture.type;
    const auto width = static_cast<int>(picture.GetWidth());
    const auto height = static_cast<int>(picture.GetHeight());
    ImageBuf rgba(ImageSpec(width, height, 4, ToOpenImageIO(type.samples)));
    for (int y = 0; y < height; y++)
        channels.ToDevice(type, picture.GetPixel(0, y), rgba.pixeladdr(0, y), static_cast<size_t>(width));
    ImageBuf multiplied;
    Algo::premult(multiplied, rgba.copy(TypeDesc::FLOAT));
    return multiplied;
}

bool DrawLine(ImageBuf& sheet, const TextLine& line, const std::string& font) {
    const std::string text = FitText(line.text, line.width, [&](const std::string& tried) {
        return Algo::text_size(tried, line.size, font).width();
    });
    return Algo::render_text(sheet, line.middle, line.baseline, text, line.size, font, {line.ink, 3},
                             Algo::TextAlignX::Center, Algo::TextAlignY::Baseline);
}

}  // namespace

Thumbnail Shrink(const Picture& picture, int width, int height) {
    ImageBuf shrunk;
    Algo::resize(shrunk, ToRgba(picture), {}, 0.0F, {0, width, 0, height});
    if (shrunk.has_error())
        throw Failure("cannot shrink " + Quote(picture.name) + ": " + FirstLine(shrunk.geterror(), ""));
    Thumbnail thumbnail{width, height, std::vector<float>(static_cast<size_t>(width * height) * 4)};
    shrunk.get_pixels({0, width, 0, height}, TypeDesc::FLOAT, thumbnail.rgba.data());
    return thumbnail;
}

bool DrawTexts(Picture& sheet, const std::vector<TextLine>& lines) {
    ImageBuf pixels(ImageSpec(static_cast<int>(sheet.GetWidth()), static_cast<int>(sheet.GetHeight()), 3,
                              TypeDesc::UINT8),
                    sheet.samples.get());
    // The last entry is OpenImageIO's default font.
    for (const char* font : {"DejaVuSans", "LiberationSans-Regular", ""})
        if (std::ranges::all_of(lines, [&](const TextLine& line) { return DrawLine(pixels, line, font); }))
            return true;
    return false;
}

}  // namespace nuvra::app
