#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "program.h"

namespace nuvra::test {

namespace {

using ListingTest = ProgramTest;
using UnixListingTest = ProgramTest;
using nlohmann::json;

TEST_F(UnixListingTest, DevicesAreNumberedOverAllPlatformsAndAnEmptyPlatformSaysWhy) {
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
    EXPECT_EQ(platforms[2]["devices"][0]["number"], 1);
    EXPECT_EQ(platforms[2]["devices"][1]["number"], 2);

    const std::string text = RunFake("devices", kPlatforms).out;
    for (const char* part :
         {"Device 0: One\n", "Device 1: Two GPU\n", "Device 2: Three\n", "1024 x 1024 x 64", "352.86 (36060)",
          "CL_DEVICE_NOT_FOUND (-1)", "cl_khr_fp64 cl_fake_extension"})
        ExpectHas(text, part);
}

TEST_F(UnixListingTest, ADeviceWithoutAReadableVersionDoesNotHideOtherPlatforms) {
    const Outcome outcome = RunFake("devices", "FAKE_PLATFORMS=One 'FAKE_DRIVER=Oclgrind 21.10'");
    EXPECT_EQ(outcome.status, 1);
    ExpectHas(outcome.err, "\"Platform 1\": a device gives a version that cannot be read");
}

TEST_F(UnixListingTest, TasksAreListedEvenWithoutARuntime) {
    const Outcome outcome = Run("tasks --runtime /nonexistent --quiet");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    ExpectHas(outcome.out, "clearmem             net.nuvra.opencl.task.clearmem\n");
    ExpectHas(outcome.out, "image.invert         net.nuvra.opencl.task.invertimage\n");
}

TEST_F(UnixListingTest, TheDeviceIsTheFirstGpuUnlessOneIsNamed) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "on \"Big GPU\""},
        {"--device 2", "on \"Small GPU 7\""},
        {"--device PROCESS", "on \"Processor\""},
        {"--device 'gpu 7'", "on \"Small GPU 7\""},
        {"--device 7", "no device is called \"7\"; device 0 is \"Processor\""},
        {"--device gpu",
         R"(several devices are called "gpu": device 1 is "Big GPU", device 2 is "Small GPU 7")"},
        {"--device x",
         R"(no device is called "x"; device 0 is "Processor", device 1 is "Big GPU", device 2 is "Small GPU 7")"},
    };
    for (const auto& [option, message] : cases)
        ExpectFailure(
            RunFake(std::string("clear --size 16 out ") + option,
                    "'FAKE_PLATFORMS=Processor,Big GPU;Small GPU 7' FAKE_FAIL=clEnqueueNDRangeKernel=-5"),
            1, message);
    const Outcome one =
        RunFake("devices --json --device 'gpu 7'", "'FAKE_PLATFORMS=Processor,Big GPU;Big GPU,Small GPU 7'");
    const json platforms = json::parse(one.out)["platforms"];
    ASSERT_EQ(platforms.size(), 1U) << one.err;
    ASSERT_EQ(platforms[0]["devices"].size(), 1U);
    EXPECT_EQ(platforms[0]["devices"][0]["number"], 3);
}

TEST_F(ListingTest, HelpTellsEveryCommandAndItsOptions) {
    const std::string help = Run("--help").out;
    for (const std::string command : {"devices", "tasks", "invert", "gamma", "scale", "stereo", "crc32c",
                                      "prefixsum", "clear", "selftest", "chart", "sheet"}) {
        ExpectHas(help, "\n  " + command);
        const Outcome outcome = Run(command + " --help");
        EXPECT_EQ(outcome.status, 0);
        ExpectHas(outcome.out, "\nUsage: nuvra-cl " + command);
        for (const char* wrong : {"TEXT", "FILE FILE", "COMMAND"})
            EXPECT_EQ(outcome.out.find(wrong), std::string::npos) << outcome.out;
        if (command == "scale") ExpectHas(outcome.out, "--filter nearest|bicubic ");
        if (command == "scale") ExpectHas(outcome.out, "--mirror x|y|xy ");
        const size_t examples = outcome.out.find("\nExamples:\n");
        ASSERT_NE(examples, std::string::npos) << outcome.out;
        std::istringstream lines(outcome.out.substr(examples + 11));
        for (std::string line; std::getline(lines, line);)
            EXPECT_TRUE(line.starts_with("  nuvra-cl " + command)) << line;
    }
    EXPECT_TRUE(Run("--version").out.starts_with("nuvra-cl "));
}

TEST_F(UnixListingTest, TheProgressBarKeepsToTheTerminalsWidthAndIsWipedOff) {
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

}  // namespace

}  // namespace nuvra::test
