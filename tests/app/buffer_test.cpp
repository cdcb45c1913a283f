#include <algorithm>
#include <cstdint>

#include "program.h"

namespace nuvra::test {

namespace {

using BufferTest = ProgramTest;
using UnixBufferTest = ProgramTest;

std::string Words(const std::vector<std::uint32_t>& words) {
    return {reinterpret_cast<const char*>(words.data()), words.size() * sizeof(words[0])};
}

TEST_F(BufferTest, EveryTaskOfThisDevicePassesItsSelftest) {
    const Outcome outcome = Run("selftest");
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out.find("WRONG"), std::string::npos) << outcome.out;
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 9) << outcome.out;
}

TEST_F(UnixBufferTest, ATaskThatCannotRunKeepsNoOtherFromItsSelftest) {
    const Outcome outcome = RunFake("selftest", "FAKE_PLATFORMS=One FAKE_FAIL=clCreateImage2D=-10");
    EXPECT_EQ(outcome.status, 1);
    ExpectHas(outcome.err, "8 of the tasks failed or gave wrong results on \"One\"");
    for (const char* line : {"clearmem             WRONG",
                             "image.invert         FAILED cannot make an image of 301 x 223 pixels",
                             "image.stereo.sbs     FAILED cannot make an image of 301 x 223 pixels"})
        ExpectHas(outcome.out, line);
}

TEST_F(BufferTest, ClearFillsTheBeginningAndKeepsTheRest) {
    for (const auto& [size, bufferSize, value] :
         {std::tuple<size_t, size_t, int>{0, 10, 1}, {100001, 200003, 171}, {16, 17 << 20, 255}}) {
        ExpectSuccess(Run("clear --size " + std::to_string(size) + " --buffer-size " +
                          std::to_string(bufferSize) + " --value " + std::to_string(value) + " out"));
        std::string expected(bufferSize, static_cast<char>(value));
        for (size_t i = size; i < bufferSize; i++) expected[i] = static_cast<char>(i * 31 + 7);
        EXPECT_TRUE(ReadFile("out") == expected) << size;
    }
    ExpectFailure(Run("clear new --size 1000000G"), 1, "make a buffer of 1073741824000000 bytes on \"",
                  {"out"});
    ExpectSuccess(Run("clear --size 2K out"));
    EXPECT_TRUE(ReadFile("out") == std::string(2048, 0));
}

TEST_F(BufferTest, ChecksumsAreThoseOfTheStandardInAnyPieces) {
    WriteFile("digits", "123456789");
    WriteFile("none", "");
    const Outcome partly = Run("crc32c digits missing none");
    EXPECT_EQ(partly.status, 1);
    EXPECT_EQ(partly.out, "e3069283  digits\n00000000  none\n");
    ExpectHas(partly.err, "cannot read \"missing\": No such file or directory");
    for (const char* piece : {"2", "3"})
        ExpectSuccess(Run(std::string("crc32c digits --piece ") + piece), "e3069283  digits\n");
    ExpectSuccess(RunShell("printf 123456789 | $PROGRAM crc32c -"), "e3069283  -\n");

    WriteFile("list", partly.out);
    ExpectSuccess(Run("crc32c --check list"), "digits: OK\nnone: OK\n");
    WriteFile("none", "x");
    const Outcome changed = Run("crc32c --check list");
    EXPECT_EQ(changed.status, 1);
    EXPECT_EQ(changed.out, "digits: OK\nnone: FAILED\n");
}

TEST_F(UnixBufferTest, AListNamesAnyFileAndIsReadWithEitherEndOfLines) {
    for (const char* name : {"plain", "two\nlines", "back\\slash", "return\r"}) WriteFile(name, "123456789");
    const Outcome outcome =
        RunShell("$PROGRAM crc32c plain 'two\nlines' 'back\\slash' \"$(printf 'return\\r')\"");
    ExpectSuccess(
        outcome,
        "e3069283  plain\n\\e3069283  two\\nlines\n\\e3069283  back\\\\slash\n\\e3069283  return\\r\n");
    WriteFile("list", outcome.out);
    RunShell("sed 's/$/\\r/' list >list.dos");
    for (const char* list : {"list", "list.dos"})
        ExpectSuccess(Run(std::string("crc32c --check ") + list),
                      "plain: OK\n\\two\\nlines: OK\n\\back\\\\slash: OK\n\\return\\r: OK\n");
    WriteFile("list", "\\e3069283  back\\slash\n");
    ExpectRefusals({{"crc32c --check list", 1, "line 1 of \"list\" is no checksum"}});
}

TEST_F(BufferTest, PrefixSumsAndPairsAreWrittenAndTheTotalIsPrinted) {
    WriteFile("in", Words({5, 0xFFFFFFFF, 7, 1}));
    ExpectSuccess(Run("prefixsum in out --total"), "12\n");
    EXPECT_EQ(ReadFile("out"), Words({0, 5, 4, 11}));
    ExpectSuccess(Run("prefixsum in out --pairs"));
    EXPECT_EQ(ReadFile("out"), Words({0, 5, 5, 0xFFFFFFFF, 4, 7, 11, 1}));
}

}  // namespace

}  // namespace nuvra::test
