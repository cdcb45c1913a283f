#include <array>
#include <cmath>
#include <cstring>

#include "pictures.h"
#include "program.h"

namespace nuvra::test {

namespace {

using ImageTest = ProgramTest;
using UnixImageTest = ProgramTest;
using OIIO::TypeDesc;

struct InvertCase {
    const char* file;
    TypeDesc::BASETYPE type;
    int width;
    int height;
    int channels;
    const char* options = "";
    Rectangle rectangle = {};  ///< all of the picture when empty
};

void CheckInversions(const std::vector<InvertCase>& cases) {
    for (const InvertCase& test : cases) {
        const TestPicture source = MakeTestPicture(test.type, test.width, test.height, test.channels);
        const std::string in = std::string("in.") + test.file;
        const std::string out = std::string("out.") + test.file;
        SCOPED_TRACE(testing::Message() << source.spec.format << " x " << test.channels << " in " << in);
        WritePicture(in, source);
        ProgramTest::ExpectSuccess(ProgramTest::Run("invert " + in + " " + out + " " + test.options));
        const TestPicture result = ReadPicture(out);
        EXPECT_EQ(result.spec.format, source.spec.format);
        EXPECT_EQ(result.spec.channelnames, ReadPicture(in).spec.channelnames);
        EXPECT_TRUE(result.samples ==
                    (test.rectangle.width == 0 ? Invert(source) : Invert(source, test.rectangle)).samples);
    }
}

TEST_F(ImageTest, EveryColourIsInvertedExactlyAndAlphaAndTheRestAreKept) {
    CheckInversions({
        {"png", TypeDesc::UINT8, 37, 23, 1},
        {"png", TypeDesc::UINT8, 301, 1, 3},
        {"png", TypeDesc::UINT8, 1, 1, 4},
        {"png", TypeDesc::UINT16, 1, 301, 2},
        {"png", TypeDesc::UINT16, 33, 5, 4, "--rect 10,1,17,3", {10, 1, 17, 3}},
        {"png", TypeDesc::UINT8, 37, 33, 4, "--tile 7 --rect 3,2,21,15", {3, 2, 21, 15}},
        {"bmp", TypeDesc::UINT8, 37, 23, 3, "--rect 36,22,1,1", {36, 22, 1, 1}},
    });
}

TEST_F(UnixImageTest, EveryFormatAndSampleTypeIsInvertedExactly) {
    CheckInversions({
        {"tif", TypeDesc::UINT8, 16, 16, 4},
        {"tif", TypeDesc::UINT16, 37, 23, 3},
        {"tif", TypeDesc::FLOAT, 31, 9, 2},
        {"tif", TypeDesc::DOUBLE, 31, 9, 3},
        {"ppm", TypeDesc::UINT8, 9001, 3, 3, "--tile 20000"},  // beyond what images can be wide
        {"fits", TypeDesc::UINT8, 37, 23, 3},
        {"exr", TypeDesc::HALF, 31, 9, 1},
        {"exr", TypeDesc::HALF, 31, 9, 4},
        {"exr", TypeDesc::FLOAT, 37, 33, 4, "--tile 16"},
    });
}

TEST_F(UnixImageTest, MetadataPassThrough) {
    const std::pair<const char*, Texts> cases[] = {
        {"png", {"oiio:ColorSpace", "ImageDescription", "XResolution", "YResolution"}},
        {"tif", {"ImageDescription", "ResolutionUnit", "XResolution", "YResolution", "Orientation"}},
        {"exr", {"ImageDescription", "weather", "compression", "PixelAspectRatio"}},
        {"jpg", {"oiio:ColorSpace", "ImageDescription", "XResolution", "YResolution", "Orientation"}},
    };
    const auto text = [](const OIIO::ImageSpec& spec, const std::string& name) {
        const OIIO::ParamValue* value = spec.find_attribute(name);
        return value == nullptr ? "" : value->get_string();
    };
    TestPicture source = MakeTestPicture(TypeDesc::UINT8, 20, 10, 3);
    source.spec["oiio:ColorSpace"] = "sRGB";
    source.spec["ImageDescription"] = "a picture";
    source.spec["weather"] = "fair";
    source.spec["compression"] = "piz";
    source.spec["ResolutionUnit"] = "cm";
    source.spec["XResolution"] = 118.0F;
    source.spec["YResolution"] = 59.0F;
    source.spec["PixelAspectRatio"] = 0.5F;
    source.spec["Orientation"] = 6;
    for (const auto& [file, attributes] : cases) {
        const std::string in = std::string("in.") + file;
        const std::string out = std::string("out.") + file;
        WritePicture(in, source);
        ASSERT_EQ(Run("invert " + in + " " + out).status, 0);
        const OIIO::ImageSpec before = ReadPicture(in).spec;
        const OIIO::ImageSpec after = ReadPicture(out).spec;
        for (const std::string& name : attributes) {
            EXPECT_NE(text(before, name), "") << in << ' ' << name;
            EXPECT_EQ(text(after, name), text(before, name)) << out << ' ' << name;
        }
    }
}

TEST_F(UnixImageTest, NumbersBesideAlphaPassFromFormatToFormat) {
    const TestPicture source = MakeTestPicture(TypeDesc::UINT16, 19, 7, 4);
    WritePicture("a.png", source);
    ExpectSuccess(Run("invert a.png b.exr"));
    ExpectSuccess(Run("invert b.exr c.tif"));
    ExpectSuccess(Run("invert c.tif d.exr"));
    // Floats become 16-bit again at the end, which is worth a word.
    EXPECT_NE(Run("invert d.exr e.png").err, "");
    // OpenEXR has no 16-bit numbers; floats hold them.
    EXPECT_EQ(ReadPicture("b.exr").spec.format, TypeDesc::FLOAT);
    EXPECT_EQ(ReadPicture("e.png").samples, source.samples);
}

TEST_F(UnixImageTest, TilesOfAnySizeBecomeThoseThatTheFormatHas) {
    TestPicture source = MakeTestPicture(TypeDesc::FLOAT, 70, 60, 3);
    source.spec.tile_width = source.spec.tile_height = 50;
    WritePicture("in.exr", source);
    ExpectSuccess(Run("invert in.exr out.tif"));
    EXPECT_EQ(ReadPicture("out.tif").spec.tile_width, 64);
    EXPECT_EQ(ReadPicture("out.tif").samples, Invert(source).samples);
}

TEST_F(UnixImageTest, AFourthChannelThatIsNotSaidToBeAlphaIsKeptAsAlphaIs) {
    TestPicture source = MakeTestPicture(TypeDesc::UINT8, 19, 7, 4);
    const TestPicture expected = Invert(source);
    WritePicture("in.gif", source);  // whose reader calls a fifth channel alpha
    source.spec.alpha_channel = -1;
    source.spec.channelnames[3] = "X";
    WritePicture("in.tif", source);
    ASSERT_EQ(ReadPicture("in.tif").spec.alpha_channel, -1);
    EXPECT_EQ(Run("invert in.gif out.tif").status, 0);
    EXPECT_EQ(Run("invert in.tif out.tif").status, 0);
    EXPECT_EQ(ReadPicture("out.tif").samples, expected.samples);
}

TEST_F(ImageTest, ShortSamplesBecomeTheClosestBytesWithAWord) {
    const TestPicture source = MakeTestPicture(TypeDesc::UINT16, 40, 30, 3);
    WritePicture("in.png", source);
    const Outcome outcome = Run("invert in.png out.bmp");
    ASSERT_EQ(outcome.status, 0);
    ExpectHas(outcome.err, "\"out.bmp\" holds uint8 samples");
    const std::vector<unsigned char> bytes = ReadPicture("out.bmp").samples;
    ASSERT_EQ(bytes.size() * 2, source.samples.size());
    for (size_t i = 0; i < bytes.size(); i++) {
        std::uint16_t word = 0;
        std::memcpy(&word, source.samples.data() + 2 * i, 2);
        ASSERT_EQ(bytes[i], ((65535 - word) * 255 + 32767) / 65535) << i;
    }
}

TEST_F(UnixImageTest, GammaRaisesColoursAndKeepsAlpha) {
    WritePicture("in.exr", MakeTestPicture(TypeDesc::FLOAT, 13, 7, 4));
    ExpectSuccess(Run("gamma in.exr out.exr --gamma 3"));
    const std::vector<float> in = GetFloats(ReadPicture("in.exr"));
    const std::vector<float> out = GetFloats(ReadPicture("out.exr"));
    for (size_t i = 0; i < in.size(); i++) {
        const double expected = i % 4 == 3 ? in[i] : std::pow(double{in[i]}, 3);
        ASSERT_NEAR(out[i], expected, 1e-5 * std::fabs(expected)) << i;
    }
}

class UnixScaleTest : public ProgramTest {
public:
    UnixScaleTest() { WritePicture("in.exr", MakeTestPicture(TypeDesc::FLOAT, 96, 64, 3)); }

    static TestPicture Scale(const std::string& options) {
        ExpectSuccess(Run("scale in.exr out.exr " + options));
        return ReadPicture("out.exr");
    }
    /// The picture with those options, and with others or tiles, is the same.
    static void ExpectSame(const std::string& options, const std::string& others) {
        EXPECT_TRUE(Scale(options).samples == Scale(others).samples) << options << " | " << others;
    }
};

TEST_F(UnixScaleTest, TheAspectIsKeptAndTheDestinationIsPlaced) {
    const std::vector<float> in = GetFloats(ReadPicture("in.exr"));
    const TestPicture half = Scale("--size 48x0 --filter nearest");
    ASSERT_EQ(half.spec.height, 32);
    const std::vector<float> values = GetFloats(half);
    for (size_t i = 0; i < values.size(); i++)
        ASSERT_EQ(values[i], in[(i / 144 * 2 * 96 + i % 144 / 3 * 2) * 3 + i % 3]) << i;
    ASSERT_EQ(Scale("--size 0x32 --filter nearest").spec.width, 48);

    const std::vector<float> placed = GetFloats(Scale("--size 60x50 --dst 5,6,20,10"));
    for (size_t i = 0; i < placed.size(); i++) {
        const size_t x = i / 3 % 60;
        const size_t y = i / 180;
        ASSERT_EQ(placed[i] != 0, x >= 5 && x < 25 && y >= 6 && y < 16) << x << ' ' << y;
    }
}

TEST_F(UnixScaleTest, MirrorsAndPiecesChangeNothingElse) {
    ExpectSame("--factor 0.7 --mirror x", "--size 67x45 --dst 66,0,-67,45");
    // As large as the limit, which no pieces would fit; and one less, as of this rectangle one pixel more is
    // sent, which makes pieces.
    Scale("--size 90x60 --tile 96");
    ExpectSame("--src 3,0,90,60 --size 90x60", "--src 3,0,90,60 --size 90x60 --tile 90");
    for (const std::string options : {"0.5 --tile 50 --mirror x --filter nearest", "0.5 --tile 50 --mirror y",
                                      "2 --tile 90 --mirror x"}) {
        std::string whole = options;
        whole.erase(options.find(" --tile"), options.find(" --mirror") - options.find(" --tile"));
        ExpectSame("--factor " + whole, "--factor " + options);
    }
}

TEST_F(UnixImageTest, StereoPutsTheMeansOfBothPicturesSideBySide) {
    // In several pieces, with a last column by itself, in one piece; beyond what images can be wide.
    for (const auto& [width, tile] : {std::pair{10, 3}, {11, 4}, {1, 2}, {40001, 100000}}) {
        SCOPED_TRACE(std::to_string(width) + " in tiles of " + std::to_string(tile));
        const TestPicture left = MakeTestPicture(TypeDesc::FLOAT, width, 3, 3);
        WritePicture("left.exr", left);
        WritePicture("right.exr", Invert(left));
        ExpectSuccess(Run("stereo left.exr right.exr out.exr --tile " + std::to_string(tile)));
        const std::vector<float> sources[] = {GetFloats(left), GetFloats(Invert(left))};
        const std::vector<float> out = GetFloats(ReadPicture("out.exr"));
        for (int x = 0; x < width; x++) {
            const bool isRight = x >= width / 2;
            const int from = 2 * (isRight ? x - width / 2 : x);
            const auto at = [&, width = width](int column) {
                return sources[isRight ? 1 : 0]
                              [static_cast<size_t>(2 * width + std::min(column, width - 1)) * 3];
            };
            ASSERT_EQ(out[static_cast<size_t>(2 * width + x) * 3], (at(from) + at(from + 1)) / 2) << x;
        }
    }
}

// On Windows labels need a font, which Wine may lack.
TEST_F(UnixImageTest, AChartHasItsSizeAndASheetShowsEveryPicture) {
    ExpectSuccess(Run("chart chart.png --size 300x200"));
    const TestPicture chart = ReadPicture("chart.png");
    EXPECT_EQ((std::array{chart.spec.width, chart.spec.height, chart.spec.nchannels}),
              (std::array{300, 200, 4}));
    ExpectSuccess(Run("sheet sheet.png chart.png chart.png chart.png"));
    const TestPicture sheet = ReadPicture("sheet.png");
    const int width = sheet.spec.width;
    const auto pixel = [&](int x, int y) {
        const auto begin = sheet.samples.begin() + (y * width + x) * 3;
        return std::vector<unsigned char>(begin, begin + 3);
    };
    // Two rows of two places; the fourth stays paper.
    for (const int place : {0, 1, 2, 3}) {
        int differing = 0;
        for (int x = -40; x < 40; x++)
            differing += pixel(width * (place % 2 * 2 + 1) / 4 + x,
                               sheet.spec.height * (place / 2 * 2 + 1) / 4) != pixel(0, 0);
        EXPECT_EQ(differing > 40, place < 3) << place;
    }
}

}  // namespace

}  // namespace nuvra::test
