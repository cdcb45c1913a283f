#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>

#include "console/command.h"
#include "console/failure.h"
#include "console/values.h"
#include "pictures/picture_file.h"

namespace nuvra::app {

namespace {

struct Colour {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;
};

Colour Grey(double value) {
    return {value, value, value};
}

/// A fully bright colour; `hue` runs from 0 to 1 around the circle.
Colour FromHue(double hue, double saturation) {
    const auto channel = [&](double shift) {
        const double distance = std::abs(std::fmod(hue * 6 + shift, 6) - 3);
        return 1 - saturation * std::clamp(2 - distance, 0.0, 1.0);
    };
    return {channel(0), channel(4), channel(2)};
}

/// Where a pixel is in the field that is being drawn.
struct Place {
    Int64 x;  ///< pixels from the field's left edge
    Int64 y;
    Int64 width;  ///< pixels of the field
    Int64 height;

    double GetU() const {
        return static_cast<double>(x) / static_cast<double>(std::max<Int64>(width - 1, 1));
    }
    /// Which of `count` equally wide columns the pixel is in.
    Int64 GetColumn(Int64 count) const { return x * count / width; }
    Int64 GetRow(Int64 count) const { return y * count / height; }
};

using Draw = std::function<Colour(const Place&)>;

/// Smooth ramps from dark to light: grey, red, green, blue. Banding and wrong exponents show here.
Colour DrawRamps(const Place& place) {
    const double value = place.GetU();
    switch (place.GetRow(4)) {
        case 0:
            return Grey(value);
        case 1:
            return {value, 0, 0};
        case 2:
            return {0, value, 0};
        default:
            return {0, 0, value};
    }
}

/// Pure colours, the same half as strong, and steps of grey.
Colour DrawPatches(const Place& place) {
    constexpr Int64 kCount = 12;
    const Int64 column = place.GetColumn(kCount);
    const double part = static_cast<double>(column) / kCount;
    switch (place.GetRow(3)) {
        case 0:
            return FromHue(part, 1);
        case 1:
            return FromHue(part, 0.5);
        default:
            return Grey(static_cast<double>(column) / (kCount - 1));
    }
}

/// Rings that grow finer outwards until they are one pixel wide at the nearest edges. What a filter adds or
/// loses shows as rings that are not there.
Colour DrawZonePlate(const Place& place) {
    const double side = static_cast<double>(std::min(place.width, place.height));
    const double x = static_cast<double>(place.x) - static_cast<double>(place.width) / 2;
    const double y = static_cast<double>(place.y) - static_cast<double>(place.height) / 2;
    return Grey(0.5 + 0.5 * std::cos(std::numbers::pi * (x * x + y * y) / side));
}

/// Lines of 1, 2, 3 and 4 pixels: upright above, level below, squares between.
Colour DrawLines(const Place& place) {
    const Int64 thickness = place.GetColumn(4) + 1;
    const Int64 upright = place.x / thickness;
    const Int64 level = place.y / thickness;
    const Int64 row = place.GetRow(3);
    return Grey((row == 0 ? upright : row == 2 ? level : upright + level) % 2 == 0 ? 1 : 0);
}

/// Spokes that meet in the middle, of colours that change around the circle.
Colour DrawStar(const Place& place) {
    constexpr double kSpokes = 36;
    const double x = static_cast<double>(place.x) - static_cast<double>(place.width) / 2 + 0.5;
    const double y = static_cast<double>(place.y) - static_cast<double>(place.height) / 2 + 0.5;
    const double turn = std::atan2(y, x) / (2 * std::numbers::pi) + 0.5;
    return std::fmod(turn * kSpokes, 1) < 0.5 ? FromHue(std::fmod(turn, 1), 0.8) : Grey(0.12);
}

/// Colours that fade in from fully transparent on the left.
Colour DrawAlpha(const Place& place) {
    Colour colour = FromHue(static_cast<double>(place.GetRow(3)) / 3 + 0.05, 0.9);
    colour.alpha = place.GetU();
    return colour;
}

/// Parts of the chart, in 48ths of its width and 32nds of its height.
struct Field {
    Int64 left;
    Int64 top;
    Int64 right;
    Int64 bottom;
    Colour (*draw)(const Place&);
};
constexpr Field kFields[] = {
    {1, 1, 47, 7, DrawRamps},    {1, 8, 47, 14, DrawPatches}, {1, 15, 15, 27, DrawZonePlate},
    {16, 15, 32, 27, DrawLines}, {33, 15, 47, 27, DrawStar},  {1, 28, 47, 31, DrawAlpha},
};
constexpr Int64 kColumns = 48;
constexpr Int64 kRows = 32;

void Fill(const Picture& chart, const Rectangle& area, const Draw& draw) {
    for (Int64 y = 0; y < area.height; y++) {
        for (Int64 x = 0; x < area.width; x++) {
            const Colour colour = draw({x, y, area.width, area.height});
            unsigned char* pixel = chart.GetPixel(area.x + x, area.y + y);
            for (const double value : {colour.red, colour.green, colour.blue, colour.alpha})
                *pixel++ = static_cast<unsigned char>(std::lround(value * 255));
        }
    }
}

class ChartCommand : public Command {
public:
    void AddOptions(CLI::App& app) override {
        app.add_option("OUT", _out, "The picture to write, in a format with alpha")->required();
        app.add_option_function<std::string>(
               "--size", [this](const std::string& text) { _size = ParseExtent("--size", text); },
               "Its size in pixels (960x640)")
            ->type_name("WxH");
        app.footer(
            "Ramps, colour patches, a zone plate, fine lines, a star and a band that fades into "
            "transparency,\n"
            "in 8-bit RGBA.");
    }

    bool UsesDevice() const override { return false; }
    void Run(Environment& environment) override {
        constexpr Int64 kLargest = Int64{1} << 16;
        if (std::min(_size.width, _size.height) < 1 || std::max(_size.width, _size.height) > kLargest)
            throw WrongArguments("a chart has from 1 to 65536 pixels on each side");
        const Picture chart = MakePicture(MakeLayout(_size.width, _size.height, 4), Samples::UINT8, "chart");
        Fill(chart, {0, 0, _size.width, _size.height}, [](const Place&) { return Grey(0.22); });
        for (const auto& [left, top, right, bottom, draw] : kFields) {
            const Int64 x = _size.width * left / kColumns;
            const Int64 y = _size.height * top / kRows;
            Fill(chart, {x, y, _size.width * right / kColumns - x, _size.height * bottom / kRows - y}, draw);
        }
        WritePicture(_out, chart, environment);
    }

private:
    std::string _out;
    Extent _size{960, 640};
};

}  // namespace

CommandPtr MakeChartCommand() {
    return std::make_unique<ChartCommand>();
}

}  // namespace nuvra::app
