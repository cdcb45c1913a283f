#include <cmath>
#include <limits>

#include "device_fixture.h"

namespace nuvra::test {

namespace {

class GammaTest : public DeviceTest {
protected:
    /// The image's pixels (RGBA, one row) after image.gamma.
    template <class T>
    std::vector<T> Raise(OpenCLChannelDataType type, const std::vector<T>& pixels, double gamma) {
        const size_t width = pixels.size() / 4;
        const OpenCLMemoryObjectRef source = CreateImage(type, width, 1);
        const OpenCLMemoryObjectRef destination = CreateImage(type, width, 1);
        WriteImage(source, width, 1, pixels.data());
        const GammaImageParameters parameters{1, &source, &destination, 0, 0, static_cast<Int64>(width),
                                              1, gamma};
        EXPECT_TRUE(IsOk(GetTask("image.gamma").Execute(context, queue, &parameters)));
        std::vector<T> result(pixels.size());
        ReadImage(destination, width, 1, result.data());
        return result;
    }
};

TEST_F(GammaTest, BytesAreWithinOneStepOfThePower) {
    std::vector<UChar> pixels;
    for (int c = 0; c < 256; c++)
        for (const int channel : {c, 255 - c, c / 2, 255 - c}) pixels.push_back(static_cast<UChar>(channel));
    for (const double gamma : {0.0, 0.1, 0.45, 1.0, 2.2, 7.0}) {
        const std::vector<UChar> result = Raise(OpenCLChannelDataType::UNORM_INT8, pixels, gamma);
        for (size_t i = 0; i < pixels.size(); i++) {
            const double expected = i % 4 == 3 ? pixels[i] : 255 * std::pow(pixels[i] / 255.0, gamma);
            // Exactly half a step may go either way.
            ASSERT_NEAR(result[i], expected, i % 4 == 3 || gamma == 1.0 ? 0 : 0.51)
                << int{pixels[i]} << ' ' << gamma;
        }
    }
}

TEST_F(GammaTest, ThePowerOneChangesNothing) {
    std::vector<float> pixels;
    for (int i = 0; i < 400; i++) pixels.push_back(std::exp(static_cast<float>(i - 200) * 0.37F));
    EXPECT_EQ(Raise(OpenCLChannelDataType::FLOAT, pixels, 1), pixels);
}

TEST_F(GammaTest, FloatsAreThePowerForEveryKindOfNumber) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    const float kBases[] = {0.0f,  -0.0f,     1e-42f,  1e-30f, 0.25f, 0.5f,  1.0f,   1.5f,       1000.0f,
                            3e38f, kInfinity, -1e-42f, -0.5f,  -1.0f, -2.0f, -3e38f, -kInfinity, kNan};
    const float kExponents[] = {0.0f,  -0.0f, 0.5f,  1.0f,  2.0f,  2.2f,      3.0f,       16777217.0f,
                                1e10f, -0.5f, -1.0f, -2.0f, -3.0f, kInfinity, -kInfinity, kNan};
    std::vector<float> pixels;
    for (const float base : kBases) pixels.insert(pixels.end(), {base, base, base, base});
    for (const float exponent : kExponents) {
        const std::vector<float> result = Raise(OpenCLChannelDataType::FLOAT, pixels, exponent);
        for (size_t i = 0; i < pixels.size(); i++) {
            const double expected =
                i % 4 == 3 ? pixels[i] : static_cast<float>(std::pow(double{pixels[i]}, double{exponent}));
            const auto text = testing::Message() << pixels[i] << " to the power " << exponent;
            if (std::isnan(expected)) {
                ASSERT_TRUE(std::isnan(result[i])) << text << " gave " << result[i];
            } else if (std::isinf(expected) || expected == 0) {
                ASSERT_EQ(result[i], expected) << text;
                ASSERT_EQ(std::signbit(result[i]), std::signbit(expected)) << text;
            } else {
                // Denormal results may be flushed to 0.
                ASSERT_NEAR(result[i], expected, 1e-5 * std::fabs(expected) + 1.2e-38) << text;
            }
        }
    }
}

}  // namespace

}  // namespace nuvra::test
