#include "device_fixture.h"

namespace nuvra::test {

namespace {

TEST_F(DeviceTest, TheStereoImageHoldsTheMeansOfBothPicturesPairs) {
    struct {
        size_t sourceWidth;
        size_t width;
        size_t height;
    } const kCases[] = {{4, 4, 1}, {5, 5, 2}, {67, 67, 9}, {3, 8, 2}, {1, 1, 1}};
    for (const auto& [sourceWidth, width, height] : kCases) {
        const auto pixelOf = [](size_t picture, size_t x, size_t y, size_t channel) {
            return static_cast<float>(picture * 5 + x + y * 100 + channel * 7) / 8 - 3;
        };
        OpenCLMemoryObjectRef pictures[2];
        for (size_t picture = 0; picture < 2; picture++) {
            std::vector<float> pixels;
            for (size_t i = 0; i < sourceWidth * height * 4; i++)
                pixels.push_back(pixelOf(picture, i / 4 % sourceWidth, i / 4 / sourceWidth, i % 4));
            pictures[picture] = CreateImage(OpenCLChannelDataType::FLOAT, sourceWidth, height);
            WriteImage(pictures[picture], sourceWidth, height, pixels.data());
        }
        const OpenCLMemoryObjectRef destination = CreateImage(OpenCLChannelDataType::FLOAT, width, height);
        const StereoSbsParameters parameters{1,
                                             &pictures[0],
                                             &pictures[1],
                                             &destination,
                                             0,
                                             0,
                                             static_cast<Int64>(width),
                                             static_cast<Int64>(height)};
        ASSERT_TRUE(IsOk(GetTask("image.stereo.sbs").Execute(context, queue, &parameters)));
        std::vector<float> result(width * height * 4);
        ReadImage(destination, width, height, result.data());
        for (size_t i = 0; i < result.size(); i++) {
            const size_t x = i / 4 % width;
            const size_t y = i / 4 / width;
            const size_t half = width / 2;
            const size_t picture = x < half ? 0 : 1;
            const size_t column = 2 * (x - (x < half ? 0 : half));
            const float sum = pixelOf(picture, std::min(column, sourceWidth - 1), y, i % 4) +
                              pixelOf(picture, std::min(column + 1, sourceWidth - 1), y, i % 4);
            ASSERT_EQ(result[i], i % 4 == 3 ? sum : sum / 2) << x << ", " << y << " of " << width;
        }
    }
}

}  // namespace

}  // namespace nuvra::test
