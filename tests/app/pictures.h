#pragma once

#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>
#include <vector>

namespace nuvra::test {

using OIIO::TypeDesc;

/// A picture with its samples as floats, whole numbers from 0 to 1, interleaved and as the file's type holds
/// them.
struct TestPicture {
    OIIO::ImageSpec spec;
    std::vector<float> values;

    void Round() {
        const auto count = static_cast<int>(values.size());
        std::vector<unsigned char> samples(spec.image_bytes());
        OIIO::convert_pixel_values(TypeDesc::FLOAT, values.data(), spec.format, samples.data(), count);
        OIIO::convert_pixel_values(spec.format, samples.data(), TypeDesc::FLOAT, values.data(), count);
    }
};

/// A picture of random samples; half and float ones leave 0 to 1 on both sides. The last of two or four
/// channels is alpha.
inline TestPicture MakeTestPicture(TypeDesc type, int width, int height, int channels) {
    TestPicture picture{{width, height, channels, type},
                        std::vector<float>(static_cast<size_t>(width * height * channels))};
    if (channels == 2) {
        picture.spec.channelnames = {"Y", "A"};
        picture.spec.alpha_channel = 1;
    }
    picture.spec.attribute("oiio:UnassociatedAlpha", 1);
    std::mt19937 random(static_cast<unsigned>(width * 1000 + height));
    const bool isFloat = type.is_floating_point();
    std::uniform_real_distribution<float> numbers(isFloat ? -1 : 0, isFloat ? 2 : 1);
    for (float& value : picture.values) value = numbers(random);
    picture.Round();
    return picture;
}

/// Alpha is neither multiplied nor divided into the colours.
inline void WritePicture(const std::string& path, const TestPicture& picture) {
    const auto output = OIIO::ImageOutput::create(path);
    ASSERT_TRUE(output && output->open(path, picture.spec) &&
                output->write_image(TypeDesc::FLOAT, picture.values.data()) && output->close())
        << path;
}

inline TestPicture ReadPicture(const std::string& path) {
    OIIO::ImageSpec wishes;
    wishes.attribute("oiio:UnassociatedAlpha", 1);
    const auto input = OIIO::ImageInput::open(path, &wishes);
    if (input == nullptr) throw std::runtime_error(path + ": " + OIIO::geterror());
    TestPicture picture{input->spec(), std::vector<float>(input->spec().image_pixels() *
                                                          static_cast<size_t>(input->spec().nchannels))};
    EXPECT_TRUE(input->read_image(0, 0, 0, picture.spec.nchannels, TypeDesc::FLOAT, picture.values.data()))
        << path;
    return picture;
}

/// The colours in the rectangle (left, top, width, height), or everywhere, inverted.
inline TestPicture Invert(TestPicture picture, const std::array<int, 4>& rectangle = {}) {
    const auto [left, top, width, height] = rectangle;
    const int channels = picture.spec.nchannels;
    for (int i = 0; i < static_cast<int>(picture.values.size()); i++) {
        const int x = i / channels % picture.spec.width - left;
        const int y = i / channels / picture.spec.width - top;
        const bool isInside = width == 0 || (x >= 0 && x < width && y >= 0 && y < height);
        float& value = picture.values[static_cast<size_t>(i)];
        if (isInside && i % channels != picture.spec.alpha_channel) value = 1 - value;
    }
    picture.Round();
    return picture;
}

}  // namespace nuvra::test
