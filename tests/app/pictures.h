#pragma once

#include <OpenImageIO/imageio.h>

#include <string>
#include <vector>

namespace nuvra::test {

/// A picture with its samples in the file's own type, interleaved.
struct TestPicture {
    OIIO::ImageSpec spec;
    std::vector<unsigned char> samples;
};

/// The samples as floats, whole numbers from 0 to 1.
std::vector<float> GetFloats(const TestPicture& picture);

/// A picture of random samples; half and float ones leave 0 to 1 on both sides. The last of two or four
/// channels is alpha.
TestPicture MakeTestPicture(OIIO::TypeDesc type, int width, int height, int channels);

/// Alpha is neither multiplied nor divided into the colours.
void WritePicture(const std::string& path, const TestPicture& picture);
TestPicture ReadPicture(const std::string& path);

struct Rectangle {
    int x;
    int y;
    int width;
    int height;
};

/// The picture with the colours in the rectangle inverted, rounded as the type rounds.
TestPicture Invert(const TestPicture& picture, const Rectangle& rectangle);
TestPicture Invert(const TestPicture& picture);

}  // namespace nuvra::test
