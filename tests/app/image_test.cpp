#include <cmath>

#include "pictures.h"
#include "program.h"
#include "references.h"

namespace nuvra::test {
namespace {

using ImageTest = ProgramTest;
using UnixImageTest = ProgramTest;

struct InvertCase {
    std::string file;
    TypeDesc::BASETYPE type;
    int width;
    int height;
    int channels;
    std::string options = "";
    std::array<int, 4> rectangle = {};
};

void CheckInversions(const std::vector<InvertCase>& cases) {
    for (const auto& [file, type, width, height, channels, options, rectangle] : cases) {
        const TestPicture source = MakeTestPicture(type, width, height, channels);
        SCOPED_TRACE(testing::Message() << source.spec.format << " x " << channels << " in " << file);
        WritePicture("in." + file, source);
        ProgramTest::ExpectSuccess(ProgramTest::Run("invert in." + file + " out." + file + " " + options));
        const TestPicture result = ReadPicture("out." + file);
        EXPECT_EQ(result.spec.format, source.spec.format);
        EXPECT_EQ(result.spec.channelnames, ReadPicture("in." + file).spec.channelnames);
        EXPECT_TRUE(result.values == Invert(source, rectangle).values);
    }
}

TEST_F(ImageTest, EveryColourIsInvertedExactlyAndAlphaAndTheRestAreKept) {
    CheckInversions({
        {"png", TypeDesc::UINT8, 37, 23, 1},
        {"png", TypeDesc::UINT16, 1, 301, 2},
        {"png", TypeDesc::UINT16, 33, 5, 4, "--rect 10,1,17,3", {10, 1, 17, 3}},
        {"png", TypeDesc::UINT8, 37, 33, 4, "--tile 7 --rect 3,2,21,15", {3, 2, 21, 15}},
        {"bmp", TypeDesc::UINT8, 37, 23, 3, "--rect 36,22,1,1", {36, 22, 1, 1}},
    });
    // Samples that a format lacks become the closest that it has, with a word.
    const TestPicture source = MakeTestPicture(TypeDesc::UINT16, 40, 30, 3);
    WritePicture("in.png", source);
    ExpectHas(Run("invert in.png out.bmp").err, "\"out.bmp\" holds uint8 samples");
    const std::vector<float> expected = Invert(source).values;
    const std::vector<float> values = ReadPicture("out.bmp").values;
    ASSERT_EQ(values.size(), expected.size());
    for (size_t i = 0; i < values.size(); i++) ASSERT_NEAR(values[i], expected[i], 0.500001 / 255) << i;
}

TEST_F(UnixImageTest, EveryFormatAndSampleTypeIsInvertedExactly) {
    CheckInversions({
        {"tif", TypeDesc::UINT8, 16, 16, 4},
        {"tif", TypeDesc::DOUBLE, 31, 9, 3},
        {"tif", TypeDesc::UINT16, 900, 1500, 4, "--rect 1,500,898,777", {1, 500, 898, 777}},  // several bands
        {"ppm", TypeDesc::UINT8, 9001, 3, 3, "--tile 20000"},  // beyond what images can be wide
        {"exr", TypeDesc::HALF, 31, 9, 1},
        {"exr", TypeDesc::FLOAT, 37, 33, 4, "--tile 16"},
    });
}

TEST_F(UnixImageTest, TilesMetadataAndNumbersBesideAlphaPassFromFormatToFormat) {
    TestPicture source = MakeTestPicture(TypeDesc::UINT16, 70, 60, 4);
    source.spec["ImageDescription"] = "a picture";
    WritePicture("in.png", source);
    ExpectSuccess(Run("invert in.png a.exr"));
    source = ReadPicture("a.exr");
    // OpenEXR has no 16-bit numbers; floats hold them.
    EXPECT_EQ(source.spec.format, TypeDesc::FLOAT);
    EXPECT_EQ(source.spec.get_string_attribute("ImageDescription"), "a picture");
    source.spec.tile_width = source.spec.tile_height = 50;
    WritePicture("b.exr", source);
    ExpectSuccess(Run("invert b.exr c.tif"));
    EXPECT_EQ(ReadPicture("c.tif").spec.tile_width, 64);
    ExpectSuccess(Run("invert c.tif d.exr"));
    EXPECT_EQ(ReadPicture("d.exr").values, Invert(Invert(source)).values);
    EXPECT_NE(Run("invert d.exr e.png").err, "");  // floats become 16-bit, which is worth a word
}

TEST_F(UnixImageTest, AFourthChannelThatIsNotSaidToBeAlphaIsKeptAsAlphaIs) {
    TestPicture source = MakeTestPicture(TypeDesc::UINT8, 19, 7, 4);
    const std::vector<float> expected = Invert(source).values;
    WritePicture("in.gif", source);  // whose reader calls a fifth channel alpha
    source.spec.alpha_channel = -1;
    source.spec.channelnames[3] = "X";
    WritePicture("in.tif", source);
    ASSERT_EQ(ReadPicture("in.tif").spec.alpha_channel, -1);
    EXPECT_EQ(Run("invert in.gif out.tif").status, 0);
    EXPECT_EQ(Run("invert in.tif out.tif").status, 0);
    EXPECT_EQ(ReadPicture("out.tif").values, expected);
}

TEST_F(UnixImageTest, GammaRaisesColoursAndKeepsAlpha) {
    const TestPicture source = MakeTestPicture(TypeDesc::FLOAT, 13, 7, 4);
    WritePicture("in.exr", source);
    ExpectSuccess(Run("gamma in.exr out.exr --gamma 3"));
    const std::vector<float> out = ReadPicture("out.exr").values;
    for (size_t i = 0; i < out.size(); i++) {
        const double expected = std::pow(double{source.values[i]}, i % 4 == 3 ? 1 : 3);
        ASSERT_NEAR(out[i], expected, 1e-5 * std::fabs(expected)) << i;
    }
}

TEST_F(UnixImageTest, ScalingKeepsTheAspectAndMirrorsAndPiecesChangeNothingElse) {
    const TestPicture source = MakeTestPicture(TypeDesc::FLOAT, 96, 64, 3);
    WritePicture("in.exr", source);
    const auto scale = [](const std::string& options) {
        ExpectSuccess(Run("scale in.exr out.exr " + options));
        return ReadPicture("out.exr");
    };
    const TestPicture half = scale("--size 48x0 --filter nearest");
    ASSERT_EQ(half.spec.height, 32);
    for (size_t i = 0; i < half.values.size(); i++)
        ASSERT_EQ(half.values[i], source.values[(i / 144 * 2 * 96 + i % 144 / 3 * 2) * 3 + i % 3]) << i;

    const std::vector<float> placed = scale("--size 60x0 --dst 5,6,20,10").values;
    ASSERT_EQ(placed.size(), 60U * 40 * 3);
    for (size_t i = 0; i < placed.size(); i++) {
        const size_t x = i / 3 % 60;
        const size_t y = i / 180;
        ASSERT_EQ(placed[i] != 0, x >= 5 && x < 25 && y >= 6 && y < 16) << x << ' ' << y;
    }
    // As large as the limit, which no pieces would fit.
    ASSERT_EQ(scale("--size 0x60 --tile 96").spec.width, 90);
    for (const auto& [one, other] :
         {std::pair("--factor 0.7 --mirror x", "--size 67x45 --dst 66,0,-67,45"),
          // As of this rectangle one pixel more is sent, a tile of its size makes pieces.
          {"--src 3,0,90,60 --size 90x60", "--src 3,0,90,60 --size 90x60 --tile 90"},
          {"--factor 0.5 --mirror x --filter nearest", "--factor 0.5 --tile 50 --mirror x --filter nearest"},
          {"--factor 0.5 --mirror y", "--factor 0.5 --tile 50 --mirror y"},
          {"--factor 2 --mirror x", "--factor 2 --tile 90 --mirror x"}})
        EXPECT_TRUE(scale(one).values == scale(other).values) << one << " | " << other;
    // Several bands of rows on both sides.
    RunShell("$PROGRAM scale in.exr big.exr --size 768x1024 --dst 0,128,768,768; mv big.exr in.exr");
    const std::string part = "--src 2,100,766,900 --size 766x900 --dst 0,300,383,450 ";
    EXPECT_TRUE(scale(part).values == scale(part + "--tile 400").values);
}

TEST_F(UnixImageTest, StereoPutsTheMeansOfBothPicturesSideBySide) {
    // In several pieces, with a last column by itself, in one piece; beyond what images can be wide.
    for (const auto& [width, tile] : {std::pair{10, 3}, {11, 4}, {1, 2}, {40001, 100000}}) {
        SCOPED_TRACE(std::to_string(width) + " in tiles of " + std::to_string(tile));
        const reference::Plane left = reference::RandomPlane(width, 3, 1);
        const reference::Plane right = reference::RandomPlane(width, 3, 2);
        WritePicture("left.exr", {{width, 3, 4, TypeDesc::FLOAT}, left.values});
        WritePicture("right.exr", {{width, 3, 4, TypeDesc::FLOAT}, right.values});
        ExpectSuccess(Run("stereo left.exr right.exr out.exr --tile " + std::to_string(tile)));
        const std::vector<float> out = ReadPicture("out.exr").values;
        for (size_t i = 0; i < out.size(); i++) {
            const Int64 pixel = static_cast<Int64>(i) / 4;
            const double mean = reference::StereoAt(left, right, width, pixel % width, pixel / width, i % 4);
            ASSERT_EQ(out[i], static_cast<float>(mean)) << i;
        }
    }
}

// On Windows labels need a font, which Wine may lack.
TEST_F(UnixImageTest, AChartHasItsSizeAndASheetShowsEveryPicture) {
    ExpectSuccess(Run("chart chart.png --size 300x200"));
    const OIIO::ImageSpec chart = ReadPicture("chart.png").spec;
    EXPECT_EQ((std::array{chart.width, chart.height, chart.nchannels}), (std::array{300, 200, 4}));
    ExpectSuccess(Run("sheet sheet.png chart.png chart.png chart.png"));
    // Two rows of two places with the same picture and label; the fourth stays paper.
    const TestPicture sheet = ReadPicture("sheet.png");
    const auto width = static_cast<size_t>(sheet.spec.width);
    const auto height = static_cast<size_t>(sheet.spec.height);
    std::map<std::pair<size_t, size_t>, int> drawn;
    for (size_t i = 0; i < sheet.values.size(); i++)
        if (sheet.values[i] != sheet.values[0])
            drawn[{i / 3 / width * 2 / height, i / 3 % width * 2 / width}]++;
    EXPECT_EQ(drawn.size(), 3U);
    EXPECT_GT((drawn[{0, 0}]), 300 * 200);
    EXPECT_EQ((drawn[{0, 1}]), (drawn[{0, 0}]));
    EXPECT_EQ((drawn[{1, 0}]), (drawn[{0, 0}]));
}

}  // namespace
}  // namespace nuvra::test
