#include <cstdint>
#include <nlohmann/json.hpp>
#include <sstream>

#include "program.h"

namespace nuvra::test {
namespace {

using CommandTest = ProgramTest;
using UnixCommandTest = ProgramTest;
using nlohmann::json;

TEST_F(UnixCommandTest, DevicesAreNumberedOverAllPlatformsAndAnEmptyPlatformSaysWhy) {
    const std::string kPlatforms = "'FAKE_PLATFORMS=One;;Two GPU,Three'";
    const Outcome outcome = RunFake("devices --json", kPlatforms);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const json platforms = json::parse(outcome.out)["platforms"];
    ASSERT_EQ(platforms.size(), 3U);
    EXPECT_EQ(platforms[0]["devices"][0], json::parse(R"({
        "number": 0, "name": "One", "vendor": "Fake vendor", "type": ["CPU"], "version": "OpenCL 1.2 fake",
        "versionNumber": 120, "openCLCVersion": "OpenCL C 1.2 fake", "openCLCVersionNumber": 120,
        "driverVersion": "352.86", "driverVersionNumber": 36060, "maxWorkItemDimensions": 3,
        "maxWorkItemSizes": [1024, 1024, 64], "queueProperties": ["out-of-order execution", "profiling"],
        "executionCapabilities": ["kernels"], "available": true, "compilerAvailable": true,
        "extensions": ["cl_khr_fp64", "cl_fake_extension"]})"));
    EXPECT_EQ(platforms[1]["devices"], json::array());
    EXPECT_EQ(platforms[1]["error"], "CL_DEVICE_NOT_FOUND (-1)");
    EXPECT_EQ(platforms[2]["devices"][1]["number"], 2);

    const std::string text = RunFake("devices", kPlatforms).out;
    for (const char* part : {"Device 0: One\n", "Device 2: Three\n", "1024 x 1024 x 64", "352.86 (36060)",
                             "CL_DEVICE_NOT_FOUND (-1)", "cl_khr_fp64 cl_fake_extension"})
        ExpectHas(text, part);
}

TEST_F(UnixCommandTest, TheDeviceIsTheFirstGpuUnlessOneIsNamed) {
    const std::string machine = "'FAKE_PLATFORMS=Processor,Big GPU;Small GPU 7'";
    const std::string failing = machine + " FAKE_FAIL=clEnqueueNDRangeKernel=-5";
    const std::string command = "clear --size 16 out ";
    ExpectRefusals({
        {command, 1, "on \"Big GPU\"", failing},
        {command + "--device 2", 1, "on \"Small GPU 7\"", failing},
        {command + "--device 'gPu 7'", 1, "on \"Small GPU 7\"", failing},
        {command + "--device 7", 1, "no device is called \"7\"; device 0 is \"Processor\", device 1 is ",
         failing},
        {command + "--device gpu", 1,
         R"(several devices are called "gpu": device 1 is "Big GPU", device 2 is "Small GPU 7")", failing},
    });
    const json platforms = json::parse(RunFake("devices --json --device 'gpu 7'", machine).out)["platforms"];
    ASSERT_EQ(platforms.size(), 1U);
    ASSERT_EQ(platforms[0]["devices"].size(), 1U);
    EXPECT_EQ(platforms[0]["devices"][0]["number"], 2);
}

TEST_F(UnixCommandTest, NeitherPicturesNorTheSystemsRuntimeAreLoadedBeforeACommandNeedsThem) {
    // No picture library lies beside this program.
    RunShell("mkdir bin; cp \"$PROGRAM\" " MODULE_FILE " bin");
    setenv("PROGRAM", "bin/nuvra-cl", 1);
    ExpectRefusals({{"chart a.png", 1, "pictures.so\", which cannot be opened ("},
                    {"chart a.png", 1, "and needs Debian's package libopenimageio"}});
    const Outcome outcome = RunFake("tasks", "LD_DEBUG=files");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err.find("libOpenCL.so"), std::string::npos);
}

TEST_F(CommandTest, HelpTellsEveryCommandAndItsOptions) {
    const std::string help = Run("--help").out;
    for (const std::string command : {"devices", "tasks", "invert", "gamma", "scale", "stereo", "crc32c",
                                      "prefixsum", "clear", "selftest", "chart", "sheet"}) {
        ExpectHas(help, "\n  " + command);
        const Outcome outcome = Run(command + " --help");
        EXPECT_EQ(outcome.status, 0);
        ExpectHas(outcome.out, "\nUsage: nuvra-cl " + command);
        ExpectHas(outcome.out, "\nExamples:\n  nuvra-cl " + command);
        for (const char* wrong : {"TEXT", "FILE FILE", "COMMAND"})
            EXPECT_EQ(outcome.out.find(wrong), std::string::npos) << outcome.out;
    }
}

TEST_F(UnixCommandTest, TheProgressBarKeepsToTheTerminalsWidthAndIsWipedOff) {
    // The terminal's columns, 0 where it does not say; how the line begins.
    for (const auto& [columns, begin] :
         {std::pair(80, "checksumming "), {0, "checksumming "}, {12, "100 %"}}) {
        SCOPED_TRACE(columns);
        // A long name whose letters have two bytes and one column; what it holds comes slowly.
        const Outcome outcome = RunShell(
            "name=\u00e4\u00f6$(printf '\u00fc%.0s' $(seq 80)); rm -f $name; mkfifo $name; "
            "(sleep 0.4; printf a; sleep 0.2; printf b) >$name & "
            "script -qec \"stty cols " +
            std::to_string(columns) + "; \\\"\\$PROGRAM\\\" crc32c --piece 1 $name\" /dev/null </dev/null");
        ASSERT_EQ(outcome.status, 0) << outcome.out << outcome.err;
        int lines = 0;
        const size_t end = outcome.out.rfind("\r\033[K");
        std::istringstream drawings(outcome.out.substr(0, end));
        for (std::string line; std::getline(drawings, line, '\r');) {
            if (line.starts_with("\033[K")) line.erase(0, 3);
            if (line.empty()) continue;
            lines++;
            EXPECT_TRUE(line.starts_with(begin)) << line;
            const auto letters = std::ranges::count_if(line, [](char c) { return (c & 0xC0) != 0x80; });
            EXPECT_LT(letters, columns == 0 ? 40 : columns) << line;
            EXPECT_NO_THROW(json(line).dump()) << "a letter is cut";
        }
        EXPECT_GT(lines, 0) << outcome.out;
        EXPECT_EQ(outcome.out.find('%', end), std::string::npos) << outcome.out;
    }
}

TEST_F(CommandTest, EveryTaskPassesItsSelftestOnThisDevice) {
    const auto tasks = std::ranges::count(Run("tasks").out, '\n');
    const Outcome outcome = Run("selftest");
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out.find("WRONG"), std::string::npos) << outcome.out;
    EXPECT_EQ(std::ranges::count(outcome.out, '\n'), 1 + tasks) << outcome.out;
}

TEST_F(UnixCommandTest, TasksAreListedWithoutARuntimeAndOneThatCannotRunKeepsNoOtherFromItsSelftest) {
    const Outcome listed = Run("tasks --runtime /nonexistent --quiet");
    EXPECT_EQ(listed.status, 0);
    EXPECT_EQ(listed.err, "");
    ExpectHas(listed.out, "image.invert         net.nuvra.opencl.task.invertimage\n");

    const Outcome tested = RunFake("selftest", "FAKE_FAIL=clCreateImage2D=-10");
    EXPECT_EQ(tested.status, 1);
    ExpectHas(tested.err, std::to_string(std::ranges::count(listed.out, '\n')) +
                              " of the tasks failed or gave wrong results on \"One\"");
    ExpectHas(tested.out, "clearmem             WRONG");
    ExpectHas(tested.out, "image.stereo.sbs     FAILED cannot make an image of 301 x 223 pixels");
}

TEST_F(CommandTest, ClearAndPrefixSumWriteTheirBuffers) {
    ExpectSuccess(Run("clear --size 100001 --buffer-size 16777300 --value 255 out"));
    std::string expected(16777300, '\xFF');
    for (size_t i = 100001; i < expected.size(); i++) expected[i] = static_cast<char>(i * 31 + 7);
    EXPECT_TRUE(ReadFile("out") == expected);
    ExpectSuccess(Run("clear --size 2K out"));
    EXPECT_TRUE(ReadFile("out") == std::string(2048, 0));

    const auto words = [](const std::vector<std::uint32_t>& values) {
        return std::string(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(values[0]));
    };
    WriteFile("in", words({5, 0xFFFFFFFF, 7, 1}));
    ExpectSuccess(Run("prefixsum in out --total"), "12\n");
    EXPECT_EQ(ReadFile("out"), words({0, 5, 4, 11}));
    ExpectSuccess(Run("prefixsum in out --pairs"));
    EXPECT_EQ(ReadFile("out"), words({0, 5, 5, 0xFFFFFFFF, 4, 7, 11, 1}));
}

TEST_F(UnixCommandTest, ChecksumsAreThoseOfTheStandardAndAListOfThemNamesAnyFile) {
    for (const char* name : {"plain", "two\nlines", "back\\slash", "return\r"}) WriteFile(name, "123456789");
    WriteFile("none", "");
    const Outcome partly =
        RunShell("$PROGRAM crc32c plain missing none 'two\nlines' 'back\\slash' \"$(printf 'return\\r')\"");
    EXPECT_EQ(partly.status, 1);
    EXPECT_EQ(partly.out,
              "e3069283  plain\n00000000  none\n\\e3069283  two\\nlines\n\\e3069283  back\\\\slash\n"
              "\\e3069283  return\\r\n");
    ExpectHas(partly.err, "cannot read \"missing\": No such file or directory\n");
    for (const char* piece : {"2", "3"})
        ExpectSuccess(Run(std::string("crc32c plain - <plain --piece ") + piece),
                      "e3069283  plain\ne3069283  -\n");

    WriteFile("list", partly.out);
    RunShell("sed 's/$/\\r/' list >list.dos");
    ExpectSuccess(Run("crc32c --check list.dos"),
                  "plain: OK\nnone: OK\n\\two\\nlines: OK\n\\back\\\\slash: OK\n\\return\\r: OK\n");
    WriteFile("none", "x");
    const Outcome changed = Run("crc32c --check list");
    EXPECT_EQ(changed.status, 1);
    EXPECT_TRUE(changed.out.starts_with("plain: OK\nnone: FAILED\n\\two")) << changed.out;
    WriteFile("list", "\\e3069283  back\\slash\n");
    ExpectRefusals({{"crc32c --check list", 1, "line 1 of \"list\" is no checksum"}});
}

}  // namespace
}  // namespace nuvra::test
