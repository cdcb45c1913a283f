#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>

#include "console/command.h"
#include "console/failure.h"
#include "nuvra/host/file_name.h"
#include "pictures/picture_file.h"

namespace nuvra::app {

namespace {

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
    Thumbnail thumbnail;
};

Entry MakeEntry(const std::string& name, const MemoryLimit& limit, const Environment& environment) {
    const Picture picture = ReadPicture(name, limit, environment);
    const auto width = static_cast<double>(picture.GetWidth());
    const auto height = static_cast<double>(picture.GetHeight());
    const double scale = std::min({1.0, kThumbnailWidth / width, kThumbnailHeight / height});
    const auto shrink = [&](double side) { return std::max(1, static_cast<int>(std::lround(side * scale))); };
    return {host::ToText(host::ToPath(name).filename()),
            std::to_string(picture.GetWidth()) + " x " + std::to_string(picture.GetHeight()) + ", " +
                std::to_string(picture.layout.channels.size()) + " x " + picture.fileType,
            WithMemoryFor([&] { return GetPictureLibrary().shrink(picture, shrink(width), shrink(height)); },
                          "cannot shrink " + Quote(name) + ": there is not enough memory")};
}

unsigned char ToByte(float value) {
    return static_cast<unsigned char>(std::lround(std::clamp(value, 0.0F, 1.0F) * 255));
}

/// Draws the thumbnail in the middle of its place, over squares that show where it is transparent.
void DrawThumbnail(const Picture& sheet, const Thumbnail& thumbnail, int left, int top) {
    const int x0 = left + (kThumbnailWidth - thumbnail.width) / 2;
    const int y0 = top + (kThumbnailHeight - thumbnail.height) / 2;
    const float* from = thumbnail.rgba.data();
    for (int y = 0; y < thumbnail.height; y++) {
        unsigned char* to = sheet.GetPixel(x0, y0 + y);
        for (int x = 0; x < thumbnail.width; x++, from += 4) {
            const float square = (x / kSquare + y / kSquare) % 2 == 0 ? 0.85F : 0.65F;
            for (int channel = 0; channel < 3; channel++)
                *to++ = ToByte(from[channel] + square * (1 - from[3]));
        }
    }
}

bool DrawLabel(Picture& sheet, const Entry& entry, int left, int top) {
    const int middle = left + kThumbnailWidth / 2;
    return GetPictureLibrary().drawTexts(sheet,
                                         {{entry.name, middle, top + 18, 16, kThumbnailWidth, kInk},
                                          {entry.details, middle, top + 36, 13, kThumbnailWidth, kPaleInk}});
}

class SheetCommand : public Command {
public:
    void AddOptions(CLI::App& app) override {
        app.add_option("OUT", _out, "The picture to write")->required();
        app.add_option("IN", _in, "The pictures to show, each with its name, size and type")->required();
        _limit.AddTo(app);
        app.footer("Squares show through where a picture is transparent. Larger pictures are shrunk.");
    }

    bool UsesDevice() const override { return false; }
    void Run(Environment& environment) override;

private:
    std::string _out;
    std::vector<std::string> _in;
    MemoryLimit _limit;
};

void SheetCommand::Run(Environment& environment) {
    const int count = static_cast<int>(_in.size());
    const int columns = std::min(kMostColumns, static_cast<int>(std::ceil(std::sqrt(count))));
    const int rows = (count + columns - 1) / columns;
    const PictureLayout layout = MakeLayout(columns * kCellWidth + kGap, rows * kCellHeight + kGap, 3);
    Picture sheet = MakePicture(layout, Samples::UINT8, "sheet");
    std::fill_n(sheet.samples.get(), static_cast<size_t>(layout.width * layout.height) * 3, ToByte(kPaper));
    bool isLabelled = true;
    for (int i = 0; i < count; i++) {
        const Entry entry = MakeEntry(_in[static_cast<size_t>(i)], _limit, environment);
        const int left = kGap + i % columns * kCellWidth;
        const int top = kGap + i / columns * kCellHeight;
        DrawThumbnail(sheet, entry.thumbnail, left, top);
        isLabelled = DrawLabel(sheet, entry, left, top + kThumbnailHeight) && isLabelled;
    }
    if (!isLabelled)
        environment.notes.push_back(Quote(_out) + " has no labels, because no font was found; " +
                                    kFontAdvice);
    WritePicture(_out, sheet, environment);
}

}  // namespace

CommandPtr MakeSheetCommand() {
    return std::make_unique<SheetCommand>();
}

}  // namespace nuvra::app
