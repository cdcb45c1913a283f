#include <random>

#include "device_fixture.h"
#include "half.h"

namespace nuvra::test {

namespace {

using Rectangle = std::array<Int64, 4>;  // x, y, width, height

struct Case {
    size_t width;
    size_t height;
    Rectangle rectangle;
};
constexpr Case kCases[] = {
    {1, 1, {0, 0, 1, 1}},     {67, 1, {0, 0, 67, 1}},   {1, 43, {0, 0, 1, 43}},
    {67, 43, {0, 0, 67, 43}}, {67, 43, {10, 20, 5, 7}}, {67, 43, {66, 42, 1, 1}},
};

class InvertTest : public DeviceTest {
protected:
    /// Inverts `pixels` (RGBA) inside each case's rectangle and compares every channel with `invert` of it;
    /// outside the rectangle the destination keeps its poison.
    template <class T, class Make, class Invert>
    void Check(OpenCLChannelDataType type, const Make& make, const Invert& invert) {
        const OpenCLTaskRef task = GetTask("image.invert");
        for (const auto& [width, height, rectangle] : kCases) {
            const auto [x, y, columns, rows] = rectangle;
            std::vector<T> pixels(width * height * 4);
            for (size_t i = 0; i < pixels.size(); i++) pixels[i] = make(i);
            std::vector<T> expected(pixels.size(), make(1));
            const OpenCLMemoryObjectRef source = CreateImage(type, width, height);
            const OpenCLMemoryObjectRef destination = CreateImage(type, width, height);
            WriteImage(source, width, height, pixels.data());
            WriteImage(destination, width, height, expected.data());
            for (Int64 row = y; row < y + rows; row++) {
                for (Int64 column = x; column < x + columns; column++) {
                    const size_t i = (static_cast<size_t>(row) * width + static_cast<size_t>(column)) * 4;
                    for (size_t channel = 0; channel < 4; channel++)
                        expected[i + channel] = channel == 3 ? pixels[i + 3] : invert(pixels[i + channel]);
                }
            }
            const InvertImageParameters parameters{1, &source, &destination, x, y, columns, rows};
            ASSERT_TRUE(IsOk(task.Execute(context, queue, &parameters)));
            std::vector<T> result(pixels.size());
            ReadImage(destination, width, height, result.data());
            EXPECT_EQ(result, expected) << width << " x " << height << ", " << columns << " x " << rows;
        }
    }
};

TEST_F(InvertTest, BytesAndWordsBecomeTheirComplements) {
    Check<UChar>(
        OpenCLChannelDataType::UNORM_INT8, [](size_t i) { return static_cast<UChar>(i * 41 + 3); },
        [](UChar c) { return static_cast<UChar>(255 - c); });
    Check<UInt16>(
        OpenCLChannelDataType::UNORM_INT16, [](size_t i) { return static_cast<UInt16>(i * 24547 + 3); },
        [](UInt16 c) { return static_cast<UInt16>(65535 - c); });
}

/// Steps of 1/1024 between 0.5 and 1, some moved by 2 or negated: one minus each is a half again, and values
/// beyond 0 and 1 must not be cut off.
double HalfValue(size_t i) {
    constexpr double kBases[] = {0.5, -1.0, 0.5, 1.0};
    return kBases[i % 4] + static_cast<double>(i * 41 % 512) / 1024;
}

TEST_F(InvertTest, HalfAndFloatValuesBecomeOneMinusThemselvesUnclamped) {
    std::map<UInt16, UInt16> inverses;
    for (size_t i = 0; i < 4 * 512; i++) inverses[ToHalf(HalfValue(i))] = ToHalf(1 - HalfValue(i));
    Check<UInt16>(
        OpenCLChannelDataType::HALF_FLOAT, [](size_t i) { return ToHalf(HalfValue(i)); },
        [&](UInt16 h) { return inverses.at(h); });
    std::mt19937 random(1);
    std::uniform_real_distribution<float> numbers(-3, 3);
    std::vector<float> values(4 * 67 * 43);
    for (float& value : values) value = numbers(random);
    Check<float>(
        OpenCLChannelDataType::FLOAT, [&](size_t i) { return values[i]; }, [](float c) { return 1.0f - c; });
}

TEST_F(InvertTest, ARectangleThatLeavesTheDestinationIsRefused) {
    const OpenCLTaskRef task = GetTask("image.invert");
    const OpenCLMemoryObjectRef image = CreateImage(OpenCLChannelDataType::UNORM_INT8, 8, 6);
    const OpenCLMemoryObjectRef buffer = CreateBuffer(std::vector<UChar>(64));
    for (const auto [x, y, width, height] :
         {Rectangle{0, 0, 9, 6}, Rectangle{-1, 0, 2, 2}, Rectangle{0, 0, -5, 6}, Rectangle{8, 0, 1, 1},
          Rectangle{INT64_MAX, 0, 1, 1}, Rectangle{0, 0, INT64_MIN, 1}, Rectangle{0, 0, 0, 6}}) {
        const InvertImageParameters parameters{1, &image, &image, x, y, width, height};
        EXPECT_EQ(CodeOf(task.Execute(context, queue, &parameters)), CL_INVALID_VALUE) << x << ' ' << width;
    }
    const InvertImageParameters fromBuffer{1, &buffer, &image, 0, 0, 1, 1};
    EXPECT_EQ(CodeOf(task.Execute(context, queue, &fromBuffer)), CL_INVALID_MEM_OBJECT);
}

}  // namespace

}  // namespace nuvra::test
