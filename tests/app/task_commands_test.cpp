#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "pictures.h"
#include "program.h"

namespace nuvra::test {

namespace {

using CommandTest = ProgramTest;
using OIIO::TypeDesc;
namespace fs = std::filesystem;

float FloatAt(const TestPicture& picture, int x, int y, int channel) {
    float value = 0;
    const auto index = static_cast<size_t>((y * picture.spec.width + x) * picture.spec.nchannels + channel);
    std::memcpy(&value, picture.samples.data() + index * sizeof(value), sizeof(value));
    return value;
}

std::string Words(const std::vector<std::uint32_t>& words) {
    return {reinterpret_cast<const char*>(words.data()), words.size() * sizeof(words[0])};
}

/// The CRC-32C register after `count` zero bytes. One is a linear step, so that the images of the 32 bits
/// tell the rest; twice the bytes are the step done twice.
std::uint32_t AfterZeros(std::uint32_t crc, std::uint64_t count) {
    using Step = std::array<std::uint32_t, 32>;
    const auto apply = [](const Step& step, std::uint32_t value) {
        std::uint32_t result = 0;
        for (size_t bit = 0; bit < step.size(); bit++) result ^= (value >> bit & 1) != 0 ? step[bit] : 0;
        return result;
    };
    Step step{};
    for (size_t bit = 0; bit < step.size(); bit++) {
        std::uint32_t value = std::uint32_t{1} << bit;
        for (int i = 0; i < 8; i++) value = (value >> 1) ^ ((value & 1) != 0 ? 0x82F63B78U : 0);
        step[bit] = value;
    }
    for (; count > 0; count /= 2) {
        if (count % 2 != 0) crc = apply(step, crc);
        Step twice{};
        for (size_t bit = 0; bit < step.size(); bit++) twice[bit] = apply(step, step[bit]);
        step = twice;
    }
    return crc;
}

TEST_F(CommandTest, EveryTaskOfThisDevicePassesItsSelftest) {
    const Outcome outcome = Run({"selftest"});
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out.find("WRONG"), std::string::npos) << outcome.out;
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 9) << outcome.out;
}

TEST_F(CommandTest, ATaskThatCannotRunKeepsNoOtherFromItsSelftest) {
    const Outcome outcome = RunFake({"selftest"}, {"FAKE_PLATFORMS=One", "FAKE_FAIL=clCreateImage2D=-10"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("8 of the tasks failed or gave wrong results on \"One\""), std::string::npos)
        << outcome.err;
    EXPECT_NE(outcome.out.find("clearmem             WRONG"), std::string::npos) << outcome.out;
    for (const char* task : {"image.invert        ", "image.stereo.sbs    "})
        EXPECT_NE(outcome.out.find(std::string(task) + " FAILED cannot make an image of 301 x 223 pixels"),
                  std::string::npos)
            << outcome.out;
}

TEST_F(CommandTest, GammaRaisesColoursAndKeepsAlpha) {
    WritePicture("in.exr", MakeTestPicture(TypeDesc::FLOAT, 13, 7, 4));
    ASSERT_EQ(Run({"gamma", "in.exr", "out.exr", "--gamma", "3"}).status, 0);
    const TestPicture in = ReadPicture("in.exr");
    const TestPicture out = ReadPicture("out.exr");
    for (int i = 0; i < 13 * 7 * 4; i++) {
        const float value = FloatAt(in, i / 4 % 13, i / 4 / 13, i % 4);
        const double expected = i % 4 == 3 ? value : std::pow(double{value}, 3);
        ASSERT_NEAR(FloatAt(out, i / 4 % 13, i / 4 / 13, i % 4), expected, 1e-5 * std::fabs(expected)) << i;
    }
}

TEST_F(CommandTest, ChecksumsAreThoseOfTheStandardInAnyPieces) {
    WriteFile("digits", "123456789");
    WriteFile("none", "");
    EXPECT_EQ(Run({"crc32c", "digits", "none"}).out, "e3069283  digits\n00000000  none\n");
    EXPECT_EQ(Run({"crc32c", "--piece", "2", "digits"}).out, "e3069283  digits\n");
    EXPECT_EQ(RunShell("printf 123456789 | $PROGRAM crc32c -").out, "e3069283  -\n");

    const Outcome partly = Run({"crc32c", "missing", "digits"});
    EXPECT_EQ(partly.status, 1);
    EXPECT_EQ(partly.out, "e3069283  digits\n");
    EXPECT_NE(partly.err.find("cannot read \"missing\": No such file or directory"), std::string::npos)
        << partly.err;

    WriteFile("list", "e3069283  digits\n00000000  none\n");
    EXPECT_EQ(Run({"crc32c", "--check", "list"}).out, "digits: OK\nnone: OK\n");
    WriteFile("none", "x");
    const Outcome changed = Run({"crc32c", "--check", "list"});
    EXPECT_EQ(changed.status, 1);
    EXPECT_EQ(changed.out, "digits: OK\nnone: FAILED\n");
}

TEST_F(CommandTest, AListNamesAnyFileAndIsReadWithEitherEndOfLines) {
    const Texts names{"plain", "two\nlines", "back\\slash", "return\r"};
    Texts arguments{"crc32c"};
    for (const std::string& name : names) {
        WriteFile(name, "123456789");
        arguments.push_back(name);
    }
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.out,
              "e3069283  plain\n\\e3069283  two\\nlines\n\\e3069283  back\\\\slash\n"
              "\\e3069283  return\\r\n");
    WriteFile("list", outcome.out);
    RunShell("sed 's/$/\\r/' list >list.dos");
    for (const char* list : {"list", "list.dos"})
        EXPECT_EQ(Run({"crc32c", "--check", list}).out,
                  "plain: OK\n\\two\\nlines: OK\n\\back\\\\slash: OK\n\\return\\r: OK\n");
    WriteFile("list", "\\e3069283  back\\slash\n");
    ExpectFailure(Run({"crc32c", "--check", "list"}), 1, "line 1 of \"list\" is no checksum", ListFiles());
}

TEST_F(CommandTest, ChecksumsGoOnBehindTwoGibibytes) {
    constexpr std::uint64_t kSize = (std::uint64_t{1} << 31) + 5;
    WriteFile("large", "");
    fs::resize_file("large", kSize);  // a hole
    char expected[9];
    std::snprintf(expected, sizeof expected, "%08x", ~AfterZeros(0xFFFFFFFF, kSize));
    EXPECT_EQ(Run({"crc32c", "large"}).out, std::string(expected) + "  large\n");
}

TEST_F(CommandTest, PrefixSumsAndPairsAreWrittenAndTheTotalIsPrinted) {
    WriteFile("in", Words({5, 0xFFFFFFFF, 7, 1}));
    EXPECT_EQ(Run({"prefixsum", "in", "out", "--total"}).out, "12\n");
    EXPECT_EQ(ReadFile("out"), Words({0, 5, 4, 11}));
    EXPECT_EQ(Run({"prefixsum", "in", "out", "--pairs"}).out, "");
    EXPECT_EQ(ReadFile("out"), Words({0, 5, 5, 0xFFFFFFFF, 4, 7, 11, 1}));
}

TEST_F(CommandTest, ScalingKeepsTheAspectPlacesMirrorsAndTiles) {
    WritePicture("in.exr", MakeTestPicture(TypeDesc::FLOAT, 96, 64, 3));
    ASSERT_EQ(Run({"scale", "in.exr", "half.exr", "--size", "48x0", "--filter", "nearest"}).status, 0);
    const TestPicture in = ReadPicture("in.exr");
    const TestPicture half = ReadPicture("half.exr");
    ASSERT_EQ(half.spec.height, 32);
    for (int y = 0; y < 32; y++)
        for (int x = 0; x < 48; x++)
            ASSERT_EQ(FloatAt(half, x, y, 1), FloatAt(in, 2 * x, 2 * y, 1)) << x << ' ' << y;

    ASSERT_EQ(Run({"scale", "in.exr", "placed.exr", "--size", "60x50", "--dst", "5,6,20,10"}).status, 0);
    EXPECT_EQ(FloatAt(ReadPicture("placed.exr"), 4, 6, 0), 0);
    EXPECT_NE(FloatAt(ReadPicture("placed.exr"), 5, 6, 0), 0);

    // As large as the limit, which no pieces would fit; and one less, as of this rectangle one pixel more is
    // sent, which makes pieces.
    ASSERT_EQ(Run({"scale", "in.exr", "a.exr", "--size", "90x60", "--tile", "96"}).status, 0);
    ASSERT_EQ(Run({"scale", "in.exr", "a.exr", "--src", "3,0,90,60", "--size", "90x60"}).status, 0);
    ASSERT_EQ(
        Run({"scale", "in.exr", "b.exr", "--src", "3,0,90,60", "--size", "90x60", "--tile", "90"}).status, 0);
    EXPECT_EQ(ReadPicture("a.exr").samples, ReadPicture("b.exr").samples);

    // The same by option and by a negative extent; and in pieces as in one.
    ASSERT_EQ(Run({"scale", "in.exr", "a.exr", "--factor", "0.7", "--mirror", "x"}).status, 0);
    ASSERT_EQ(Run({"scale", "in.exr", "b.exr", "--size", "67x45", "--dst", "66,0,-67,45"}).status, 0);
    EXPECT_EQ(ReadPicture("a.exr").samples, ReadPicture("b.exr").samples);
    for (const char* filter : {"nearest", "bicubic"}) {
        const std::array<const char*, 3> cases[] = {
            {"0.5", "x", "50"}, {"1", "y", "50"}, {"2", "x", "90"}, {"4", "y", "150"}};
        for (const auto& [factor, mirror, tile] : cases) {
            const Texts whole{"scale",    "in.exr", "whole.exr", "--factor", factor,
                              "--filter", filter,   "--mirror",  mirror};
            Texts pieces = whole;
            pieces[2] = "pieces.exr";
            pieces.insert(pieces.end(), {"--tile", tile});
            ASSERT_EQ(Run(whole).status, 0);
            ASSERT_EQ(Run(pieces).status, 0);
            EXPECT_EQ(ReadPicture("pieces.exr").samples, ReadPicture("whole.exr").samples)
                << filter << factor << mirror;
        }
    }
}

TEST_F(CommandTest, StereoPutsTheMeansOfBothPicturesSideBySide) {
    struct Case {
        int width;
        const char* tile;
    };
    // In one piece, in several, and with a last column by itself; beyond what images can be wide.
    for (const auto& [width, tile] :
         {Case{8, "2048"}, {9, "2048"}, {10, "3"}, {11, "4"}, {1, "2"}, {9, "2"}, {40001, "100000"}}) {
        SCOPED_TRACE(std::to_string(width) + " in tiles of " + tile);
        WritePicture("left.exr", MakeTestPicture(TypeDesc::FLOAT, width, 3, 3));
        WritePicture("right.exr", Invert(MakeTestPicture(TypeDesc::FLOAT, width, 3, 3), 0, 0, width, 3));
        const Outcome outcome = Run({"stereo", "left.exr", "right.exr", "out.exr", "--tile", tile});
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        const TestPicture sources[] = {ReadPicture("left.exr"), ReadPicture("right.exr")};
        const TestPicture out = ReadPicture("out.exr");
        for (int x = 0; x < width; x++) {
            const bool isRight = x >= width / 2;
            const int from = 2 * (isRight ? x - width / 2 : x);
            const TestPicture& source = sources[isRight ? 1 : 0];
            const int next = std::min(from + 1, width - 1);
            ASSERT_EQ(FloatAt(out, x, 2, 0), (FloatAt(source, from, 2, 0) + FloatAt(source, next, 2, 0)) / 2)
                << x;
        }
    }
}

TEST_F(CommandTest, BadInputGetsOneLineAndNoFile) {
    WritePicture("in.png", MakeTestPicture(TypeDesc::UINT8, 20, 10, 4));
    WritePicture("other.png", MakeTestPicture(TypeDesc::UINT8, 21, 10, 4));
    WriteFile("odd", "12345");
    WriteFile("empty", "");
    fs::create_directory("folder");
    const Texts files = ListFiles();
    struct Case {
        Texts arguments;
        int status;
        const char* message;
    };
    const Case cases[] = {
        {{"gamma", "in.png", "out.png"}, 2, "--gamma is required"},
        {{"gamma", "in.png", "out.png", "--gamma", ""}, 2, "--gamma: "},
        {{"gamma", "in.png", "out.png", "--gamma", "bright"}, 2, "--gamma"},
        {{"gamma", "in.png", "out.png", "--gamma", "nan"}, 2, "--gamma needs a finite number"},
        {{"scale", "in.png", "out.png"}, 2, "give --size or --factor"},
        {{"scale", "in.png", "out.png", "--size", "0x0"}, 2, "--size needs sides above 0"},
        {{"scale", "in.png", "out.png", "--size", "99999999x1"}, 2, "too large"},
        {{"scale", "in.png", "out.png", "--factor", ""}, 2, "--factor: "},
        {{"scale", "in.png", "out.png", "--factor", "-1"}, 2, "--factor needs a number above 0"},
        {{"scale", "in.png", "out.png", "--factor", "1", "--size", "5x5"}, 2, "excludes"},
        {{"scale", "in.png", "out.png", "--factor", "1", "--src", "15,0,6,5"}, 1, "leaves \"in.png\""},
        {{"scale", "in.png", "out.png", "--factor", "1", "--dst", "15,0,6,5"}, 1, "leaves \"out.png\""},
        {{"scale", "in.png", "out.png", "--size", "5x5", "--dst", "4,0,-5,5", "--mirror", "x"},
         2,
         "--mirror excludes"},
        {{"scale", "in.png", "out.png", "--size", "30x13", "--tile", "15"},
         1,
         "its images have sides of at most 15"},
        {{"stereo", "in.png", "other.png", "out.png"},
         1,
         "\"in.png\" has 20 x 10 pixels, \"other.png\" has 21 x 10"},
        {{"prefixsum", "odd", "out"}, 1, "5 bytes are no whole number of 32-bit values"},
        {{"prefixsum", "empty", "out"}, 1, "cannot read \"empty\": it is empty"},
        {{"prefixsum", "missing", "out"}, 1, "cannot read \"missing\": No such file"},
        {{"crc32c"}, 2, "give either files or --check"},
        {{"crc32c", "--piece", "0", "in.png"}, 2, "--piece needs 1 to 2147483647 bytes"},
        {{"crc32c", "--check", "folder"}, 1, "cannot read \"folder\": "},
        {{"crc32c", "--check", "odd"}, 1, "line 1 of \"odd\" is no checksum"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(::testing::PrintToString(test.arguments));
        ExpectFailure(Run(test.arguments), test.status, test.message, files);
    }
}

TEST_F(CommandTest, TheProgressBarKeepsToTheTerminalsWidthAndIsWipedOff) {
    const std::pair<int, const char*> cases[] = {
        {80, "checksumming "},  // the terminal's columns, 0 where it does not say; how the line begins
        {40, "checksumming "},
        {0, "checksumming "},
        {12, "100 %"},
    };
    for (const auto& [columns, begin] : cases) {
        SCOPED_TRACE(columns);
        // A long name whose letters have two bytes and one column; what it holds comes slowly.
        const Outcome outcome = RunShell(
            "export PROGRAM; name=\u00e4\u00f6$(printf '\u00fc%.0s' $(seq 80)); rm -f $name; mkfifo $name; "
            "(sleep 0.4; printf a; sleep 0.2; printf b) >$name & "
            "script -qec \"stty cols " +
            std::to_string(columns) + "; \\\"\\$PROGRAM\\\" crc32c --piece 1 $name\" /dev/null </dev/null");
        ASSERT_EQ(outcome.status, 0) << outcome.out << outcome.err;
        int lines = 0;
        std::istringstream drawings(outcome.out.substr(0, outcome.out.rfind("\r\033[K")));
        for (std::string line; std::getline(drawings, line, '\r');) {
            if (line.starts_with("\033[K")) line.erase(0, 3);
            if (line.empty()) continue;
            lines++;
            EXPECT_TRUE(line.starts_with(begin)) << line;
            const auto letters = std::ranges::count_if(line, [](char c) { return (c & 0xC0) != 0x80; });
            EXPECT_LT(letters, columns == 0 ? 40 : columns) << line;
            EXPECT_NO_THROW(nlohmann::json(line).dump()) << "a letter is cut";
        }
        EXPECT_GT(lines, 0) << outcome.out;
        EXPECT_EQ(outcome.out.find('%', outcome.out.rfind("\r\033[K")), std::string::npos) << outcome.out;
    }
}

}  // namespace

}  // namespace nuvra::test
