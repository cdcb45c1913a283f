#include <OpenImageIO/imagebufalgo.h>

#include <algorithm>
#include <cmath>

#include "command.h"
#include "failure.h"
#include "picture.h"

namespace nuvra::app {

namespace {

using OIIO::ImageBuf;
using OIIO::ImageSpec;
using OIIO::TypeDesc;
namespace Algo = OIIO::ImageBufAlgo;

// Pixels.
constexpr int kThumbnailWidth = 384;
constexpr int kThumbnailHeight = 288;
constexpr int kGap = 24;
constexpr int kLabelHeight = 48;
constexpr int kCellWidth = kThumbnailWidth + kGap;
constexpr int kCellHeight = kThumbnailHeight + kLabelHeight + kGap;
constexpr int kSquare = 8;
constexpr int kMostColumns = 4;

constexpr float kPaper = 0.96F;
constexpr float kInk[] = {0.13F, 0.13F, 0.15F};
constexpr float kPaleInk[] = {0.45F, 0.45F, 0.48F};

/// A thumbnail with what is written under it.
struct Entry {
    std::string name;
    std::string details;
    ImageBuf thumbnail;  ///< float RGBA, multiplied by alpha
};

/// The picture as float RGBA, multiplied by alpha so that filters weigh transparent pixels right.
ImageBuf ToRgba(const Picture& picture) {
    const ChannelMap channels(picture.spec, picture.name);
    const SampleType& type = *picture.type;
    ImageBuf rgba(ImageSpec(picture.spec.width, picture.spec.height, 4, TypeDesc(type.memory)));
    const auto width = static_cast<size_t>(picture.GetWidth());
    for (Int64 y = 0; y < picture.GetHeight(); y++)
        channels.ToDevice(type, picture.GetPixel(0, y), rgba.pixeladdr(0, static_cast<int>(y)), width);
    ImageBuf multiplied;
    Algo::premult(multiplied, rgba.copy(TypeDesc::FLOAT));
    return multiplied;
}

Entry MakeEntry(const std::string& path, const Environment& environment) {
    const Picture picture = ReadPicture(path, environment);
    const ImageBuf rgba = ToRgba(picture);
    const double scale = std::min({1.0, static_cast<double>(kThumbnailWidth) / picture.spec.width,
                                   static_cast<double>(kThumbnailHeight) / picture.spec.height});
    const auto shrink = [&](int side) { return std::max(1, static_cast<int>(std::lround(side * scale))); };
    Entry entry;
    entry.name = std::filesystem::path(path).filename().string();
    entry.details = std::to_string(picture.spec.width) + " x " + std::to_string(picture.spec.height) + ", " +
                    std::to_string(picture.spec.nchannels) + " x " + picture.spec.format.c_str();
    Algo::resize(entry.thumbnail, rgba, {}, 0.0F,
                 {0, shrink(picture.spec.width), 0, shrink(picture.spec.height)});
    if (entry.thumbnail.has_error())
        throw Failure("cannot shrink " + Quote(path) + ": " + FirstLine(entry.thumbnail.geterror(), ""));
    return entry;
}

/// Draws the thumbnail in the middle of its place, over squares that show where it is transparent.
void DrawThumbnail(ImageBuf& sheet, const Entry& entry, int left, int top) {
    const int width = entry.thumbnail.spec().width;
    const int height = entry.thumbnail.spec().height;
    const int x0 = left + (kThumbnailWidth - width) / 2;
    const int y0 = top + (kThumbnailHeight - height) / 2;
    for (int y = 0; y < height; y++) {
        for (int x = 0; x < width; x++) {
            const float square = (x / kSquare + y / kSquare) % 2 == 0 ? 0.85F : 0.65F;
            float pixel[4];
            entry.thumbnail.getpixel(x, y, pixel);
            for (int channel = 0; channel < 3; channel++)
                pixel[channel] = std::clamp(pixel[channel] + square * (1 - pixel[3]), 0.0F, 1.0F);
            sheet.setpixel(x0 + x, y0 + y, pixel, 3);
        }
    }
}

/// The text, shortened in the middle until it fits under a thumbnail.
std::string Fit(std::string text, int size, const std::string& font) {
    const auto isTooWide = [&](const std::string& tried) {
        return Algo::text_size(tried, size, font).width() > kThumbnailWidth;
    };
    if (!isTooWide(text)) return text;
    size_t kept = text.size() / 2;
    while (kept > 1 && isTooWide(text.substr(0, kept) + "..." + text.substr(text.size() - kept))) kept--;
    return text.substr(0, kept) + "..." + text.substr(text.size() - kept);
}

/// False when there is no such font.
bool DrawText(ImageBuf& sheet, int x, int y, const std::string& text, int size, const std::string& font,
              OIIO::cspan<float> ink) {
    return Algo::render_text(sheet, x, y, Fit(text, size, font), size, font, ink, Algo::TextAlignX::Center,
                             Algo::TextAlignY::Baseline);
}

bool DrawLabel(ImageBuf& sheet, const Entry& entry, int left, int top) {
    const int middle = left + kThumbnailWidth / 2;
    // The last one is whatever font OpenImageIO finds by itself.
    for (const char* font : {"DejaVuSans", "LiberationSans-Regular", ""})
        if (DrawText(sheet, middle, top + 18, entry.name, 16, font, kInk) &&
            DrawText(sheet, middle, top + 36, entry.details, 13, font, kPaleInk))
            return true;
    return false;
}

class SheetCommand : public Command {
public:
    void AddOptions(CLI::App& app) override {
        app.add_option("OUT", _out, "The picture to write")->required();
        app.add_option("IN", _in, "The pictures to show, each with its name, size and type")->required();
        app.footer("Squares show through where a picture is transparent. Larger pictures are shrunk.");
    }

    void Run(Environment& environment) override;

private:
    std::string _out;
    std::vector<std::string> _in;
};

void SheetCommand::Run(Environment& environment) {
    const int count = static_cast<int>(_in.size());
    const int columns = std::min(kMostColumns, static_cast<int>(std::ceil(std::sqrt(count))));
    const int rows = (count + columns - 1) / columns;
    const ImageSpec spec(columns * kCellWidth + kGap, rows * kCellHeight + kGap, 3, TypeDesc::UINT8);
    const Picture picture = MakePicture(spec, "sheet", "png");
    ImageBuf sheet(spec, picture.samples.get());
    const float paper[] = {kPaper, kPaper, kPaper};
    Algo::fill(sheet, paper);
    bool isLabelled = true;
    for (int i = 0; i < count; i++) {
        const Entry entry = MakeEntry(_in[static_cast<size_t>(i)], environment);
        const int left = kGap + i % columns * kCellWidth;
        const int top = kGap + i / columns * kCellHeight;
        DrawThumbnail(sheet, entry, left, top);
        isLabelled = DrawLabel(sheet, entry, left, top + kThumbnailHeight) && isLabelled;
    }
    if (!isLabelled)
        environment.notes.push_back(Quote(_out) + " has no labels, because no font was found; install " +
                                    "fonts-dejavu-core");
    WritePicture(_out, picture, environment);
}

}  // namespace

CommandPtr MakeSheetCommand() {
    return std::make_unique<SheetCommand>();
}

}  // namespace nuvra::app
