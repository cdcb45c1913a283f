#include "pictures.h"

#include <gtest/gtest.h>

#include <random>

namespace nuvra::test {

using OIIO::TypeDesc;

namespace {

TestPicture MakePicture(const OIIO::ImageSpec& spec, const std::vector<float>& values) {
    TestPicture picture{spec, std::vector<unsigned char>(spec.image_bytes())};
    OIIO::convert_pixel_values(TypeDesc::FLOAT, values.data(), spec.format, picture.samples.data(),
                               static_cast<int>(values.size()));
    return picture;
}

}  // namespace

std::vector<float> GetFloats(const TestPicture& picture) {
    std::vector<float> values(picture.spec.image_pixels() * static_cast<size_t>(picture.spec.nchannels));
    OIIO::convert_pixel_values(picture.spec.format, picture.samples.data(), TypeDesc::FLOAT, values.data(),
                               static_cast<int>(values.size()));
    return values;
}

TestPicture MakeTestPicture(TypeDesc type, int width, int height, int channels) {
    OIIO::ImageSpec spec(width, height, channels, type);
    if (channels == 2) {
        spec.channelnames = {"Y", "A"};
        spec.alpha_channel = 1;
    }
    std::mt19937 random(static_cast<unsigned>(width * 1000 + height));
    std::uniform_real_distribution<float> numbers(type.is_floating_point() ? -1 : 0,
                                                  type.is_floating_point() ? 2 : 1);
    std::vector<float> values(spec.image_pixels() * static_cast<size_t>(channels));
    for (float& value : values) value = numbers(random);
    return MakePicture(spec, values);
}

void WritePicture(const std::string& path, const TestPicture& picture) {
    OIIO::ImageSpec spec = picture.spec;
    spec.attribute("oiio:UnassociatedAlpha", 1);
    const auto output = OIIO::ImageOutput::create(path);
    ASSERT_TRUE(output && output->open(path, spec) &&
                output->write_image(spec.format, picture.samples.data()) && output->close())
        << path;
}

TestPicture ReadPicture(const std::string& path) {
    OIIO::ImageSpec wishes;
    wishes.attribute("oiio:UnassociatedAlpha", 1);
    const auto input = OIIO::ImageInput::open(path, &wishes);
    if (input == nullptr) throw std::runtime_error(path + ": " + OIIO::geterror());
    TestPicture picture{input->spec(), std::vector<unsigned char>(input->spec().image_bytes())};
    EXPECT_TRUE(
        input->read_image(0, 0, 0, picture.spec.nchannels, picture.spec.format, picture.samples.data()))
        << path;
    return picture;
}

TestPicture Invert(const TestPicture& picture, const Rectangle& rectangle) {
    std::vector<float> values = GetFloats(picture);
    const auto [x0, y0, width, height] = rectangle;
    const int channels = picture.spec.nchannels;
    for (int y = y0; y < y0 + height; y++) {
        for (int i = x0 * channels; i < (x0 + width) * channels; i++) {
            if (i % channels == picture.spec.alpha_channel) continue;
            float& value = values[static_cast<size_t>(y * picture.spec.width * channels + i)];
            value = 1 - value;
        }
    }
    return MakePicture(picture.spec, values);
}

TestPicture Invert(const TestPicture& picture) {
    return Invert(picture, {0, 0, picture.spec.width, picture.spec.height});
}

}  // namespace nuvra::test
