#include <limits>

#include "device_fixture.h"

namespace nuvra::test {

namespace {

using reference::Axis;
using reference::Plane;
using reference::RandomPlane;

constexpr float kPoison = -77;

class ImageTaskTest : public DeviceTest {
protected:
    /// Inverts pixels (RGBA) inside rectangles and compares every channel with `invert` of it; outside, the
    /// destination keeps its poison.
    template <class T, class Make, class Invert>
    void CheckInversion(OpenCLChannelDataType type, const Make& make, const Invert& invert) {
        constexpr std::array<Int64, 6> kCases[] = {// width, height, and the rectangle
                                                   {67, 1, 0, 0, 67, 1},
                                                   {1, 43, 0, 0, 1, 43},
                                                   {67, 43, 10, 20, 5, 7},
                                                   {67, 43, 66, 42, 1, 1}};
        for (const auto& [width, height, x, y, columns, rows] : kCases) {
            std::vector<T> pixels;
            for (Int64 i = 0; i < width * height * 4; i++) pixels.push_back(make(static_cast<int>(i)));
            std::vector<T> expected(pixels.size(), make(1));
            const OpenCLMemoryObjectRef source = SendImage(type, width, pixels);
            const OpenCLMemoryObjectRef destination = SendImage(type, width, expected);
            const InvertImageParameters parameters{1, &source, &destination, x, y, columns, rows};
            Execute("image.invert", &parameters);
            for (size_t i = 0; i < pixels.size(); i++) {
                const Int64 column = static_cast<Int64>(i) / 4 % width;
                const Int64 row = static_cast<Int64>(i) / 4 / width;
                if (column >= x && column < x + columns && row >= y && row < y + rows)
                    expected[i] = i % 4 == 3 ? pixels[i] : invert(pixels[i]);
            }
            EXPECT_EQ(ReadImage<T>(destination, width, height), expected) << width << " x " << height;
        }
    }

    OpenCLMemoryObjectRef Send(const Plane& picture) {
        return SendImage(OpenCLChannelDataType::FLOAT, picture.width, picture.values);
    }

    /// A scaling against its definition; nothing is written outside the rectangle. `record` has no images
    /// yet.
    void CheckScaling(bool isBicubic, const Plane& source, ScaleParameters record, Int64 width,
                      Int64 height) {
        if (IsTooLarge(static_cast<size_t>(width * height))) return;
        Plane result(width, height, kPoison);
        const OpenCLMemoryObjectRef from = Send(source);
        const OpenCLMemoryObjectRef to = Send(result);
        record.source = &from;
        record.destination = &to;
        Execute(isBicubic ? "image.scalebicubic" : "image.scalenearest", &record);
        result.values = ReadImage<float>(to, width, height);
        const Axis columns(record.srcX, record.srcWidth, record.dstX, record.dstWidth);
        const Axis rows(record.srcY, record.srcHeight, record.dstY, record.dstHeight);
        for (Int64 i = 0; i < width * height * 4; i++) {
            const Int64 x = i / 4 % width;
            const Int64 y = i / 4 / width;
            const auto channel = static_cast<size_t>(i % 4);
            reference::Sample expected{kPoison, 0};
            if (columns.Has(x) && rows.Has(y))
                expected = isBicubic ? reference::BicubicAt(source, columns, x, rows, y, channel)
                                     : reference::Sample{
                                           reference::NearestAt(source, columns, x, rows, y, channel), 0};
            ASSERT_NEAR(result.At(x, y, channel), expected.value, 1e-5 * expected.magnitude)
                << x << ", " << y << " from " << record.srcWidth << " x " << record.srcHeight << " to "
                << record.dstWidth << " x " << record.dstHeight;
        }
    }
};

TEST_F(ImageTaskTest, ValuesBecomeOneMinusThemselvesUnclamped) {
    CheckInversion<UChar>(
        OpenCLChannelDataType::UNORM_INT8, [](int i) { return static_cast<UChar>(i * 41 + 3); },
        [](UChar c) { return static_cast<UChar>(255 - c); });
    const std::vector<float> values = RandomPlane(67, 43, 1).values;
    CheckInversion<float>(
        OpenCLChannelDataType::FLOAT, [&](int i) { return values[static_cast<size_t>(i)]; },
        [](float c) { return 1.0F - c; });
}

TEST_F(ImageTaskTest, RaisedFloatsAreThePowerForEveryKindOfNumber) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    const float kBases[] = {0.0f,  -0.0f,     1e-42f,  1e-30f, 0.25f, 0.5f,  1.0f,   1.5f,       1000.0f,
                            3e38f, kInfinity, -1e-42f, -0.5f,  -1.0f, -2.0f, -3e38f, -kInfinity, kNan};
    const float kExponents[] = {0.0f,  -0.0f, 0.5f,  1.0f,  2.0f,  2.2f,      3.0f,       16777217.0f,
                                1e10f, -0.5f, -1.0f, -2.0f, -3.0f, kInfinity, -kInfinity, kNan};
    std::vector<float> pixels;
    for (const float base : kBases) pixels.insert(pixels.end(), 4, base);
    const auto width = static_cast<Int64>(pixels.size() / 4);
    const OpenCLMemoryObjectRef source = SendImage(OpenCLChannelDataType::FLOAT, width, pixels);
    for (const float exponent : kExponents) {
        const OpenCLMemoryObjectRef destination = CreateImage(OpenCLChannelDataType::FLOAT, width, 1);
        const GammaImageParameters parameters{1, &source, &destination, 0, 0, width, 1, exponent};
        Execute("image.gamma", &parameters);
        const auto result = ReadImage<float>(destination, width, 1);
        for (size_t i = 0; i < pixels.size(); i++) {
            const double expected =
                i % 4 == 3 ? pixels[i] : static_cast<float>(std::pow(double{pixels[i]}, double{exponent}));
            const auto text = testing::Message() << pixels[i] << " to the power " << exponent;
            if (std::isnan(expected)) {
                ASSERT_TRUE(std::isnan(result[i])) << text << " gave " << result[i];
            } else if (std::isinf(expected) || expected == 0 || exponent == 1) {
                ASSERT_EQ(result[i], expected) << text;
                ASSERT_EQ(std::signbit(result[i]), std::signbit(expected)) << text;
            } else {
                // Denormal results may be flushed to 0.
                ASSERT_NEAR(result[i], expected, 1e-5 * std::fabs(expected) + 1.2e-38) << text;
            }
        }
    }
}

TEST_F(ImageTaskTest, TheStereoImageHoldsTheMeansOfBothPicturesPairs) {
    for (const auto& [sourceWidth, width, height] :
         {std::array<Int64, 3>{4, 4, 1}, {5, 5, 2}, {67, 67, 9}, {3, 8, 2}, {1, 1, 1}}) {
        const Plane pictures[] = {RandomPlane(sourceWidth, height, 1), RandomPlane(sourceWidth, height, 2)};
        const OpenCLMemoryObjectRef left = Send(pictures[0]);
        const OpenCLMemoryObjectRef right = Send(pictures[1]);
        const OpenCLMemoryObjectRef destination = CreateImage(OpenCLChannelDataType::FLOAT, width, height);
        const StereoSbsParameters parameters{1, &left, &right, &destination, 0, 0, width, height};
        Execute("image.stereo.sbs", &parameters);
        const std::vector<float> result = ReadImage<float>(destination, width, height);
        for (size_t i = 0; i < result.size(); i++) {
            const auto x = static_cast<Int64>(i) / 4 % width;
            const auto y = static_cast<Int64>(i) / 4 / width;
            const double expected = reference::StereoAt(pictures[0], pictures[1], width, x, y, i % 4);
            ASSERT_EQ(result[i], static_cast<float>(expected)) << x << ", " << y << " of " << width;
        }
    }
}

TEST_F(ImageTaskTest, NearestTakesTheFormulasPixelInEveryTileAndMirror) {
    const Plane source = RandomPlane(100, 40, 1);
    for (const auto& [srcX, srcWidth, dstX, dstWidth, dstY, dstHeight] :
         {std::array<Int64, 6>{0, 100, 0, 50, 2, 20},
          {0, 100, 3, 1500, 45, -40},
          {0, 100, 99, -50, 2, 20},
          {7, 31, 99, -100, 45, -40},
          {99, 1, 5, 64, 2, 20}})
        CheckScaling(false, source,
                     {1, nullptr, nullptr, srcX, 0, srcWidth, 40, dstX, dstY, dstWidth, dstHeight},
                     std::max(dstX + dstWidth, dstX + 1) + 5, 60);
}

TEST_F(ImageTaskTest, BicubicIsTheDefinitionForEveryFactorRectangleAndMirror) {
    const Plane source = RandomPlane(64, 48, 2);
    // A large destination after a small one with more taps, and the reverse.
    for (const auto& [width, height] :
         {std::array<Int64, 2>{1, 1}, {200, 3}, {5, 150}, {64, 48}, {115, 86}, {32, 24}, {2, 1}, {63, 47}}) {
        CheckScaling(true, source, {1, nullptr, nullptr, 0, 0, 64, 48, 2, 1, width, height}, width + 4,
                     height + 2);
        CheckScaling(true, source, {1, nullptr, nullptr, 0, 0, 64, 48, width + 1, height, -width, -height},
                     width + 4, height + 2);
    }
    CheckScaling(true, source, {1, nullptr, nullptr, 0, 0, 64, 48, 31, 1, -30, 20}, 34, 22);
    CheckScaling(true, source, {1, nullptr, nullptr, 50, 40, 14, 8, 0, 0, 30, 30}, 30, 30);
    CheckScaling(true, source, {1, nullptr, nullptr, 63, 47, 1, 1, 0, 0, 64, 64}, 64, 64);
    CheckScaling(true, source, {1, nullptr, nullptr, 10, 10, 3, 2, 40, 39, -40, -40}, 41, 41);
    // Far from the origin, a position that is not rounded before it is used gives other taps.
    CheckScaling(true, RandomPlane(301, 1, 3), {1, nullptr, nullptr, 0, 0, 301, 1, 0, 0, 173, 1}, 173, 1);
}

}  // namespace

}  // namespace nuvra::test
