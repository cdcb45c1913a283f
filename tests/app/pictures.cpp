#include "pictures.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

namespace nuvra::test {

namespace {

using OIIO::TypeDesc;

class Half {
public:
    Half() = default;
    explicit Half(float value) { Convert(TypeDesc::FLOAT, &value, TypeDesc::HALF, &_bits); }
    explicit operator float() const {
        float value = 0;
        Convert(TypeDesc::HALF, &_bits, TypeDesc::FLOAT, &value);
        return value;
    }

private:
    static void Convert(TypeDesc from, const void* source, TypeDesc to, void* destination) {
        OIIO::convert_pixel_values(from, source, to, destination);
    }

    std::uint16_t _bits = 0;
};

template <class Sample>
void FillWith(TestPicture& picture, const auto& next) {
    auto* samples = reinterpret_cast<Sample*>(picture.samples.data());
    for (size_t i = 0; i < picture.GetSampleCount(); i++) samples[i] = static_cast<Sample>(next());
}

/// Calls `visit` with a value of the samples' type.
void WithType(TypeDesc type, const auto& visit) {
    switch (type.basetype) {
        case TypeDesc::UINT8:
            return visit(std::uint8_t{});
        case TypeDesc::UINT16:
            return visit(std::uint16_t{});
        case TypeDesc::HALF:
            return visit(Half());
        case TypeDesc::DOUBLE:
            return visit(double{});
        default:
            return visit(float{});
    }
}

template <class Sample>
Sample InvertSample(Sample sample) {
    if constexpr (std::is_integral_v<Sample>)
        return static_cast<Sample>(~sample);
    else
        return static_cast<Sample>(1.0F - static_cast<float>(sample));
}

}  // namespace

TestPicture MakeTestPicture(TypeDesc type, int width, int height, int channels) {
    TestPicture picture{OIIO::ImageSpec(width, height, channels, type), {}};
    if (channels == 2) {
        picture.spec.channelnames = {"Y", "A"};
        picture.spec.alpha_channel = 1;
    }
    picture.samples.resize(picture.spec.image_bytes());
    std::mt19937 random(static_cast<unsigned>(width * 1000 + height));
    WithType(type, [&](auto sample) {
        using Sample = decltype(sample);
        if constexpr (std::is_integral_v<Sample>)
            FillWith<Sample>(picture, [&] { return random(); });
        else
            FillWith<Sample>(picture, [&] { return static_cast<float>(random() % 30001) / 10000 - 1; });
    });
    return picture;
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
    if (input == nullptr) {
        ADD_FAILURE() << path << ": " << OIIO::geterror();
        return {};
    }
    TestPicture picture{input->spec(), std::vector<unsigned char>(input->spec().image_bytes())};
    EXPECT_TRUE(
        input->read_image(0, 0, 0, picture.spec.nchannels, picture.spec.format, picture.samples.data()))
        << path;
    return picture;
}

TestPicture Invert(const TestPicture& picture, int x0, int y0, int width, int height) {
    TestPicture inverted = picture;
    WithType(picture.spec.format, [&](auto sample) {
        using Sample = decltype(sample);
        auto* samples = reinterpret_cast<Sample*>(inverted.samples.data());
        for (int y = y0; y < y0 + height; y++)
            for (int x = x0; x < x0 + width; x++)
                for (int channel = 0; channel < picture.spec.nchannels; channel++) {
                    if (channel == picture.spec.alpha_channel) continue;
                    Sample& changed =
                        samples[(y * picture.spec.width + x) * picture.spec.nchannels + channel];
                    changed = InvertSample(changed);
                }
    });
    return inverted;
}

}  // namespace nuvra::test
