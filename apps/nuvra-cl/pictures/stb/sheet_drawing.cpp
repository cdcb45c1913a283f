#include <stb/stb_image_resize.h>
#include <stb/stb_truetype.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "console/failure.h"
#include "pictures/picture_operations.h"

namespace nuvra::app {

namespace {

/// Float RGBA, premultiplied so that filters weigh transparent pixels right.
std::vector<float> ToRgba(const Picture& picture) {
    const ChannelMap channels(picture.layout, picture.name);
    const auto count = static_cast<size_t>(picture.GetWidth() * picture.GetHeight());
    std::vector<unsigned char> rgba(count * 4 * picture.type->bytes);
    channels.ToDevice(*picture.type, picture.samples.get(), rgba.data(), count);
    std::vector<float> values(count * 4);
    for (size_t i = 0; i < values.size(); i++) {
        std::uint16_t word = 0;
        if (picture.type->samples == Samples::UINT8) values[i] = rgba[i] / 255.0F;
        if (picture.type->samples == Samples::UINT16) {
            std::memcpy(&word, &rgba[i * 2], 2);
            values[i] = word / 65535.0F;
        }
    }
    for (size_t i = 0; i < values.size(); i += 4)
        for (size_t channel = 0; channel < 3; channel++) values[i + channel] *= values[i + 3];
    return values;
}

/// The code points of a UTF-8 text.
std::vector<int> ToLetters(const std::string& text) {
    std::vector<int> letters;
    for (const wchar_t letter : std::filesystem::path(std::u8string(text.begin(), text.end())).wstring())
        letters.push_back(letter);
    return letters;
}

class Font {
public:
    /// Opens the first of the usual fonts that is there; false when none is.
    bool Open() {
        const char* folder = std::getenv("WINDIR");
        for (const char* name : {"arial.ttf", "tahoma.ttf", "DejaVuSans.ttf"}) {
            const std::filesystem::path fonts =
                std::filesystem::path(folder != nullptr ? folder : "") / "Fonts";
            std::ifstream file(fonts / name, std::ios::binary);
            _bytes.assign(std::istreambuf_iterator<char>(file), {});
            if (!_bytes.empty() && stbtt_InitFont(&_font, _bytes.data(), 0) != 0) return true;
        }
        return false;
    }

    int Measure(const std::string& text, int size) const {
        return static_cast<int>(std::ceil(Walk(text, size, [](int, float) {})));
    }

    void Draw(Picture& sheet, const TextLine& line, const std::string& text) const {
        const float scale = GetScale(line.size);
        const float left = static_cast<float>(line.middle) - static_cast<float>(Measure(text, line.size)) / 2;
        Walk(text, line.size, [&](int letter, float x) {
            int width = 0;
            int height = 0;
            int dx = 0;
            int dy = 0;
            unsigned char* shape =
                stbtt_GetCodepointBitmap(&_font, scale, scale, letter, &width, &height, &dx, &dy);
            const auto x0 = static_cast<Int64>(std::lround(left + x)) + dx;
            for (int y = 0; y < height; y++)
                for (int column = 0; column < width; column++)
                    Blend(sheet, x0 + column, line.baseline + dy + y, line.ink, shape[y * width + column]);
            stbtt_FreeBitmap(shape, nullptr);
        });
    }

private:
    float GetScale(int size) const {
        return stbtt_ScaleForMappingEmToPixels(&_font, static_cast<float>(size));
    }

    /// Calls `draw` with each glyph and its x position; returns the end of the text.
    template <class DrawLetter>
    float Walk(const std::string& text, int size, const DrawLetter& draw) const {
        float x = 0;
        for (const int letter : ToLetters(text)) {
            draw(letter, x);
            int advance = 0;
            stbtt_GetCodepointHMetrics(&_font, letter, &advance, nullptr);
            x += static_cast<float>(advance) * GetScale(size);
        }
        return x;
    }

    static void Blend(Picture& sheet, Int64 x, Int64 y, const float* ink, unsigned char cover) {
        if (x < 0 || y < 0 || x >= sheet.GetWidth() || y >= sheet.GetHeight()) return;
        unsigned char* pixel = sheet.GetPixel(x, y);
        const float part = cover / 255.0F;
        for (int channel = 0; channel < 3; channel++)
            pixel[channel] = static_cast<unsigned char>(
                std::lround(pixel[channel] * (1 - part) + ink[channel] * 255 * part));
    }

    std::vector<unsigned char> _bytes;
    stbtt_fontinfo _font{};
};

}  // namespace

Thumbnail Shrink(const Picture& picture, int width, int height) {
    Thumbnail thumbnail{width, height, std::vector<float>(static_cast<size_t>(width * height) * 4)};
    const std::vector<float> rgba = ToRgba(picture);
    if (stbir_resize_float(rgba.data(), static_cast<int>(picture.GetWidth()),
                           static_cast<int>(picture.GetHeight()), 0, thumbnail.rgba.data(), width, height, 0,
                           4) == 0)
        throw Failure("cannot shrink " + Quote(picture.name) + ": out of memory");
    return thumbnail;
}

bool DrawTexts(Picture& sheet, const std::vector<TextLine>& lines) {
    Font font;
    if (!font.Open()) return false;
    for (const TextLine& line : lines)
        font.Draw(sheet, line, FitText(line.text, line.width, [&](const std::string& tried) {
                      return font.Measure(tried, line.size);
                  }));
    return true;
}

}  // namespace nuvra::app
