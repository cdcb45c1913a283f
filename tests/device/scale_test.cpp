#include <random>

#include "device_fixture.h"
#include "references.h"

namespace nuvra::test {

namespace {

class ScaleTest : public DeviceTest {
protected:
    Picture Scale(const char* name, const Picture& source, ScaleParameters record, Int64 width,
                  Int64 height) {
        const auto create = [&](const Picture& picture) {
            const auto columns = static_cast<size_t>(picture.width);
            const auto rows = static_cast<size_t>(picture.height);
            OpenCLMemoryObjectRef image = CreateImage(OpenCLChannelDataType::FLOAT, columns, rows);
            WriteImage(image, columns, rows, picture.values.data());
            return image;
        };
        Picture result(width, height);
        std::fill(result.values.begin(), result.values.end(), kPoison);
        const OpenCLMemoryObjectRef from = create(source);
        const OpenCLMemoryObjectRef to = create(result);
        record.source = &from;
        record.destination = &to;
        EXPECT_TRUE(IsOk(GetTask(name).Execute(context, queue, &record)));
        ReadImage(to, static_cast<size_t>(width), static_cast<size_t>(height), result.values.data());
        return result;
    }

    /// Bicubic against the definition applied in two dimensions; nothing is written outside the rectangle.
    void CheckBicubic(const Picture& source, const ScaleParameters& record, Int64 width, Int64 height) {
        Picture result = Scale("image.scalebicubic", source, record, width, height);
        const Axis x(record.srcX, record.srcWidth, record.dstX, record.dstWidth);
        const Axis y(record.srcY, record.srcHeight, record.dstY, record.dstHeight);
        for (Int64 row = 0; row < height; row++) {
            for (Int64 column = 0; column < width; column++) {
                const Int64 i = column - x.destination;
                const Int64 j = row - y.destination;
                const bool isInside = i >= 0 && i < x.extent && j >= 0 && j < y.extent;
                for (Int64 channel = 0; channel < 4; channel++) {
                    const Sample expected =
                        isInside ? BicubicAt(source, x, i, y, j, channel) : Sample{kPoison, 0};
                    ASSERT_NEAR(result.At(column, row, channel), expected.value, expected.bound)
                        << column << ", " << row << " from " << record.srcWidth << " x " << record.srcHeight
                        << " to " << record.dstWidth << " x " << record.dstHeight;
                }
            }
        }
    }

    static constexpr float kPoison = -77;
};

TEST_F(ScaleTest, NearestTakesTheFormulasPixelInEveryTileAndMirror) {
    Picture source = RandomPicture(100, 40, 1);
    for (const auto& [srcX, srcWidth, dstX, dstWidth] : {std::array<Int64, 4>{0, 100, 0, 50},
                                                         {0, 100, 3, 1500},
                                                         {0, 100, 99, -50},
                                                         {7, 31, 99, -100},
                                                         {99, 1, 5, 64}}) {
        for (const Int64 dstHeight : {20LL, -40LL}) {
            const Int64 dstY = dstHeight < 0 ? 45 : 2;
            const ScaleParameters record{1,  nullptr, nullptr, srcX,     0,        srcWidth,
                                         40, dstX,    dstY,    dstWidth, dstHeight};
            Picture result = Scale("image.scalenearest", source, record, 1510, 60);
            const Axis x(srcX, srcWidth, dstX, dstWidth);
            const Axis y(0, 40, dstY, dstHeight);
            for (Int64 row = 0; row < result.height; row++) {
                for (Int64 column = 0; column < result.width; column++) {
                    const Int64 i = column - x.destination;
                    const Int64 j = row - y.destination;
                    const bool isInside = i >= 0 && i < x.extent && j >= 0 && j < y.extent;
                    const float expected =
                        isInside ? source.At(NearestTo(x, i), NearestTo(y, j), 1) : kPoison;
                    ASSERT_EQ(result.At(column, row, 1), expected)
                        << column << ", " << row << " of " << dstWidth;
                }
            }
        }
    }
}

TEST_F(ScaleTest, BicubicIsTheDefinitionForEveryFactorRectangleAndMirror) {
    Picture source = RandomPicture(64, 48, 2);
    // A large destination after a small one with more taps, and the reverse.
    for (const auto& [width, height] :
         {std::array<Int64, 2>{1, 1}, {200, 3}, {5, 150}, {64, 48}, {115, 86}, {32, 24}, {2, 1}, {63, 47}}) {
        for (const auto& [signX, signY] : {std::array<Int64, 2>{1, 1}, {-1, 1}, {1, -1}, {-1, -1}}) {
            const ScaleParameters record{1,
                                         nullptr,
                                         nullptr,
                                         0,
                                         0,
                                         64,
                                         48,
                                         signX < 0 ? width + 1 : 2,
                                         signY < 0 ? height : 1,
                                         signX * width,
                                         signY * height};
            CheckBicubic(source, record, width + 4, height + 2);
        }
    }
    CheckBicubic(source, {1, nullptr, nullptr, 50, 40, 14, 8, 0, 0, 30, 30}, 30, 30);
    CheckBicubic(source, {1, nullptr, nullptr, 63, 47, 1, 1, 0, 0, 64, 64}, 64, 64);
    CheckBicubic(source, {1, nullptr, nullptr, 10, 10, 3, 2, 40, 39, -40, -40}, 41, 41);
}

TEST_F(ScaleTest, BicubicOfRandomShapesIsTheDefinition) {
    const auto seed = static_cast<unsigned>(std::random_device()());
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    const auto number = [&](Int64 low, Int64 high) {
        return std::uniform_int_distribution<Int64>(low, high)(random);
    };
    for (int round = 0; round < 12; round++) {
        Picture source = RandomPicture(number(1, 70), number(1, 70), seed + 1);
        const Int64 width = number(1, 120);
        const Int64 height = number(1, 120);
        CheckBicubic(source, {1, nullptr, nullptr, 0, 0, source.width, source.height, 0, 0, width, height},
                     width, height);
    }
}

TEST_F(ScaleTest, RectanglesThatLeaveTheDestinationAreRefused) {
    const OpenCLMemoryObjectRef image = CreateImage(OpenCLChannelDataType::FLOAT, 8, 8);
    for (const char* name : {"image.scalenearest", "image.scalebicubic"}) {
        for (const auto& [x, width, sourceWidth] : {std::array<Int64, 3>{0, 9, 8},
                                                    {-1, 2, 8},
                                                    {7, -9, 8},
                                                    {0, 0, 8},
                                                    {0, 8, 0},
                                                    {INT64_MAX, 1, 8},
                                                    {0, INT64_MIN, 8},
                                                    {0, 8, 1LL << 32}}) {
            const ScaleParameters record{1, &image, &image, 0, 0, sourceWidth, 8, x, 0, width, 8};
            EXPECT_EQ(CodeOf(GetTask(name).Execute(context, queue, &record)), CL_INVALID_VALUE)
                << name << ' ' << x << ' ' << width << ' ' << sourceWidth;
        }
    }
}

}  // namespace

}  // namespace nuvra::test
