#include "pictures.h"
#include "program.h"

namespace nuvra::test {

namespace {

using OIIO::TypeDesc;

struct InvertCase {
    const char* name;
    const char* file;
    TypeDesc::BASETYPE type;
    int width;
    int height;
    int channels;
    std::vector<std::string> options{};
    int rectangle[4] = {0, 0, 0, 0};  ///< x, y, width, height; all of the picture when empty
};

void PrintTo(const InvertCase& test, std::ostream* out) {
    *out << test.width << " x " << test.height << " x " << test.channels << " in " << test.file;
}

class InvertProgramTest : public ProgramTest, public ::testing::WithParamInterface<InvertCase> {};

TEST_P(InvertProgramTest, EveryColourIsExactAndAlphaAndTheRestAreKept) {
    const InvertCase& test = GetParam();
    const TestPicture source = MakeTestPicture(test.type, test.width, test.height, test.channels);
    const std::string in = std::string("in.") + test.file;
    const std::string out = std::string("out.") + test.file;
    WritePicture(in, source);
    std::vector<std::string> arguments{"invert", in, out};
    arguments.insert(arguments.end(), test.options.begin(), test.options.end());
    const Outcome outcome = Run(arguments);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");

    const auto [x, y, width, height] = test.rectangle;
    const TestPicture expected =
        width == 0 ? Invert(source, 0, 0, test.width, test.height) : Invert(source, x, y, width, height);
    const TestPicture result = ReadPicture(out);
    EXPECT_EQ(result.spec.format, source.spec.format);
    EXPECT_EQ(result.spec.channelnames, ReadPicture(in).spec.channelnames);
    EXPECT_EQ(result.samples, expected.samples);
    EXPECT_EQ(ListFiles(), (Texts{in, out}));
}

const InvertCase kInvertCases[] = {
    {"GreyByte", "png", TypeDesc::UINT8, 37, 23, 1},
    {"GreyAlphaByte", "png", TypeDesc::UINT8, 37, 23, 2},
    {"RgbByte", "png", TypeDesc::UINT8, 37, 23, 3},
    {"RgbaByte", "png", TypeDesc::UINT8, 37, 23, 4},
    {"GreyAlphaShort", "png", TypeDesc::UINT16, 33, 5, 2},
    {"RgbaShortPng", "png", TypeDesc::UINT16, 33, 5, 4},
    {"RgbByteBmp", "bmp", TypeDesc::UINT8, 37, 23, 3},
    {"RgbaShort", "tif", TypeDesc::UINT16, 33, 5, 4},
    {"RgbaByteTiff", "tif", TypeDesc::UINT8, 16, 16, 4},
    {"RgbBytePnm", "ppm", TypeDesc::UINT8, 16, 17, 3},
    {"RgbByteFits", "fits", TypeDesc::UINT8, 37, 23, 3},
    {"GreyHalf", "exr", TypeDesc::HALF, 31, 9, 1},
    {"RgbaHalf", "exr", TypeDesc::HALF, 31, 9, 4},
    {"RgbaFloat", "exr", TypeDesc::FLOAT, 31, 9, 4},
    {"GreyAlphaFloat", "tif", TypeDesc::FLOAT, 31, 9, 2},
    {"RgbDouble", "tif", TypeDesc::DOUBLE, 31, 9, 3},
    {"OnePixel", "png", TypeDesc::UINT8, 1, 1, 4},
    {"OneRow", "png", TypeDesc::UINT8, 301, 1, 3},
    {"OneColumn", "png", TypeDesc::UINT8, 1, 301, 3},
    {"Rectangle", "png", TypeDesc::UINT8, 37, 23, 4, {"--rect", "10,5,17,11"}, {10, 5, 17, 11}},
    {"RectangleAtTheEnd", "tif", TypeDesc::UINT16, 37, 23, 3, {"--rect", "36,22,1,1"}, {36, 22, 1, 1}},
    {"Tiles", "exr", TypeDesc::FLOAT, 37, 33, 4, {"--tile", "16"}},
    {"TilesOfARectangle",
     "png",
     TypeDesc::UINT8,
     37,
     33,
     4,
     {"--tile", "7", "--rect", "3,2,21,15"},
     {3, 2, 21, 15}},
    {"BeyondTheImageLimit", "ppm", TypeDesc::UINT8, 9001, 3, 3, {"--tile", "20000"}},
};

INSTANTIATE_TEST_SUITE_P(Pictures, InvertProgramTest, ::testing::ValuesIn(kInvertCases),
                         [](const auto& info) { return info.param.name; });

using InvertMetadataTest = ProgramTest;

TEST_F(InvertMetadataTest, MetadataPassThrough) {
    struct Case {
        const char* file;
        std::vector<std::string> attributes;
    };
    const Case cases[] = {
        {"png", {"oiio:ColorSpace", "ImageDescription", "XResolution", "YResolution"}},
        {"tif", {"ImageDescription", "ResolutionUnit", "XResolution", "YResolution", "Orientation"}},
        {"exr", {"ImageDescription", "weather", "compression", "PixelAspectRatio"}},
        {"jpg", {"oiio:ColorSpace", "ImageDescription", "XResolution", "YResolution", "Orientation"}},
    };
    for (const Case& test : cases) {
        TestPicture source = MakeTestPicture(TypeDesc::UINT8, 20, 10, 3);
        source.spec.attribute("oiio:ColorSpace", "sRGB");
        source.spec.attribute("ImageDescription", "a picture");
        source.spec.attribute("weather", "fair");
        source.spec.attribute("compression", "piz");
        source.spec.attribute("ResolutionUnit", "cm");
        source.spec.attribute("XResolution", 118.0F);
        source.spec.attribute("YResolution", 59.0F);
        source.spec.attribute("PixelAspectRatio", 0.5F);
        source.spec.attribute("Orientation", 6);
        const std::string in = std::string("in.") + test.file;
        const std::string out = std::string("out.") + test.file;
        WritePicture(in, source);
        ASSERT_EQ(Run({"invert", in, out}).status, 0) << test.file;
        const OIIO::ImageSpec before = ReadPicture(in).spec;
        const OIIO::ImageSpec after = ReadPicture(out).spec;
        for (const std::string& name : test.attributes) {
            const OIIO::ParamValue* value = before.find_attribute(name);
            ASSERT_NE(value, nullptr) << in << " " << name;
            const OIIO::ParamValue* kept = after.find_attribute(name);
            ASSERT_NE(kept, nullptr) << out << " " << name;
            EXPECT_EQ(kept->get_string(), value->get_string()) << out << " " << name;
        }
    }
}

TEST_F(InvertMetadataTest, NumbersBesideAlphaPassFromFormatToFormat) {
    const TestPicture source = MakeTestPicture(TypeDesc::UINT16, 19, 7, 4);
    WritePicture("a.png", source);
    for (const auto& [in, out] :
         {std::pair("a.png", "b.tif"), {"b.tif", "c.exr"}, {"c.exr", "d.tif"}, {"d.tif", "e.png"}}) {
        const Outcome outcome = Run({"invert", in, out});
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        // Floats become 16-bit again at the end, which is worth a word.
        EXPECT_EQ(outcome.err.empty(), std::string(out) != "e.png") << outcome.err;
    }
    // OpenEXR has no 16-bit numbers; floats hold them.
    EXPECT_EQ(ReadPicture("c.exr").spec.format, TypeDesc::FLOAT);
    EXPECT_EQ(ReadPicture("e.png").samples, source.samples);
}

TEST_F(InvertMetadataTest, TilesOfAnySizeBecomeThoseThatTheFormatHas) {
    TestPicture source = MakeTestPicture(TypeDesc::FLOAT, 70, 60, 3);
    source.spec.tile_width = source.spec.tile_height = 50;
    WritePicture("in.exr", source);
    const Outcome outcome = Run({"invert", "in.exr", "out.tif"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const TestPicture result = ReadPicture("out.tif");
    EXPECT_EQ(result.spec.tile_width, 64);
    EXPECT_EQ(result.samples, Invert(source, 0, 0, 70, 60).samples);
}

TEST_F(InvertMetadataTest, AFourthChannelThatIsNotSaidToBeAlphaIsKeptAsAlphaIs) {
    TestPicture source = MakeTestPicture(TypeDesc::UINT8, 19, 7, 4);
    const TestPicture expected = Invert(source, 0, 0, 19, 7);
    WritePicture("in.gif", source);  // whose reader calls a fifth channel alpha
    source.spec.alpha_channel = -1;
    source.spec.channelnames[3] = "X";
    WritePicture("in.tif", source);
    ASSERT_EQ(ReadPicture("in.tif").spec.alpha_channel, -1);
    for (const char* file : {"in.gif", "in.tif"}) {
        const Outcome outcome = Run({"invert", file, "out.tif"});
        ASSERT_EQ(outcome.status, 0) << outcome.err;
    }
    EXPECT_EQ(ReadPicture("out.tif").samples, expected.samples);
}

TEST_F(InvertMetadataTest, ShortSamplesBecomeTheClosestBytesWithAWord) {
    const TestPicture source = MakeTestPicture(TypeDesc::UINT16, 40, 30, 3);
    WritePicture("in.png", source);
    const Outcome outcome = Run({"invert", "in.png", "out.bmp"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.err.find("\"out.bmp\" holds uint8 samples"), std::string::npos) << outcome.err;
    const std::vector<unsigned char> bytes = ReadPicture("out.bmp").samples;
    ASSERT_EQ(bytes.size(), source.GetSampleCount());
    const auto* words = reinterpret_cast<const std::uint16_t*>(source.samples.data());
    for (size_t i = 0; i < bytes.size(); i++)
        ASSERT_EQ(bytes[i], ((65535 - words[i]) * 255 + 32767) / 65535) << i;
}

}  // namespace

}  // namespace nuvra::test
