#include <nlohmann/json.hpp>

#include "pictures.h"
#include "program.h"

namespace nuvra::test {

namespace {

using ListingTest = ProgramTest;
using nlohmann::json;

TEST_F(ListingTest, DevicesAreNumberedOverAllPlatformsAndAnEmptyPlatformSaysWhy) {
    const Outcome outcome = RunFake({"devices", "--json"}, {"FAKE_PLATFORMS=One;;Two GPU,Three"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const json platforms = json::parse(outcome.out)["platforms"];
    ASSERT_EQ(platforms.size(), 3U);
    EXPECT_EQ(platforms[0]["devices"][0], json({
                                              {"number", 0},
                                              {"name", "One"},
                                              {"vendor", "Fake vendor"},
                                              {"type", {"CPU"}},
                                              {"version", "OpenCL 1.2 fake"},
                                              {"versionNumber", 120},
                                              {"openCLCVersion", "OpenCL C 1.2 fake"},
                                              {"openCLCVersionNumber", 120},
                                              {"driverVersion", "352.86"},
                                              {"driverVersionNumber", 36060},
                                              {"maxWorkItemDimensions", 3},
                                              {"maxWorkItemSizes", {1024, 1024, 64}},
                                              {"queueProperties", {"out-of-order execution", "profiling"}},
                                              {"executionCapabilities", {"kernels"}},
                                              {"available", true},
                                              {"compilerAvailable", true},
                                              {"extensions", {"cl_khr_fp64", "cl_fake_extension"}},
                                          }));
    EXPECT_EQ(platforms[1]["devices"], json::array());
    EXPECT_EQ(platforms[1]["error"], "CL_DEVICE_NOT_FOUND (-1)");
    EXPECT_EQ(platforms[2]["devices"][0]["number"], 1);
    EXPECT_EQ(platforms[2]["devices"][1]["number"], 2);

    const std::string text = RunFake({"devices"}, {"FAKE_PLATFORMS=One;;Two GPU,Three"}).out;
    for (const char* part :
         {"Device 0: One\n", "Device 1: Two GPU\n", "Device 2: Three\n", "1024 x 1024 x 64", "352.86 (36060)",
          "CL_DEVICE_NOT_FOUND (-1)", "cl_khr_fp64 cl_fake_extension"})
        EXPECT_NE(text.find(part), std::string::npos) << part << " in\n" << text;
}

TEST_F(ListingTest, ADeviceWithoutAReadableVersionDoesNotHideOtherPlatforms) {
    const Outcome outcome = RunFake({"devices"}, {"FAKE_PLATFORMS=One", "FAKE_DRIVER=Oclgrind 21.10"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("\"Platform 1\": a device gives a version that cannot be read"),
              std::string::npos)
        << outcome.err;
}

TEST_F(ListingTest, TasksAreListedEvenWithoutARuntime) {
    const Outcome outcome = Run({"tasks", "--runtime", "/nonexistent", "--quiet"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_NE(outcome.out.find("clearmem             net.nuvra.opencl.task.clearmem\n"), std::string::npos);
    EXPECT_NE(outcome.out.find("image.invert         net.nuvra.opencl.task.invertimage\n"),
              std::string::npos);
}

TEST_F(ListingTest, TheDeviceIsTheFirstGpuUnlessOneIsNamed) {
    struct Case {
        std::vector<std::string> options;
        const char* message;
    };
    const Case cases[] = {
        {{}, "on \"Big GPU\""},
        {{"--device", "2"}, "on \"Small GPU 7\""},
        {{"--device", "PROCESS"}, "on \"Processor\""},
        {{"--device", "gpu 7"}, "on \"Small GPU 7\""},
        {{"--device", "7"}, "no device is called \"7\"; device 0 is \"Processor\""},
        {{"--device", "gpu"},
         R"(several devices are called "gpu": device 1 is "Big GPU", device 2 is "Small GPU 7")"},
        {{"--device", "x"},
         R"(no device is called "x"; device 0 is "Processor", device 1 is "Big GPU", device 2 is "Small GPU 7")"},
    };
    for (const Case& test : cases) {
        Texts arguments{"clear", "--size", "16", "out"};
        arguments.insert(arguments.end(), test.options.begin(), test.options.end());
        const Outcome outcome = RunFake(arguments, {"FAKE_PLATFORMS=Processor,Big GPU;Small GPU 7",
                                                    "FAKE_FAIL=clEnqueueNDRangeKernel=-5"});
        ExpectFailure(outcome, 1, test.message, {});
    }
    const Outcome one = RunFake({"devices", "--json", "--device", "gpu 7"},
                                {"FAKE_PLATFORMS=Processor,Big GPU;Big GPU,Small GPU 7"});
    const json platforms = json::parse(one.out)["platforms"];
    ASSERT_EQ(platforms.size(), 1U) << one.err;
    ASSERT_EQ(platforms[0]["devices"].size(), 1U);
    EXPECT_EQ(platforms[0]["devices"][0]["number"], 3);
}

TEST_F(ListingTest, HelpTellsEveryCommandAndItsOptions) {
    const std::string help = Run({"--help"}).out;
    for (const char* command : {"devices", "tasks", "invert", "gamma", "scale", "stereo", "crc32c",
                                "prefixsum", "clear", "selftest", "chart", "sheet"}) {
        EXPECT_NE(help.find(std::string("\n  ") + command), std::string::npos) << help;
        const Outcome outcome = Run({command, "--help"});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_NE(outcome.out.find(std::string("\nUsage: nuvra-cl ") + command), std::string::npos)
            << outcome.out;
        for (const char* wrong : {"TEXT", "FILE FILE", "COMMAND"})
            EXPECT_EQ(outcome.out.find(wrong), std::string::npos) << outcome.out;
        const size_t examples = outcome.out.find("\nExamples:\n");
        ASSERT_NE(examples, std::string::npos) << outcome.out;
        std::istringstream lines(outcome.out.substr(examples + 11));
        for (std::string line; std::getline(lines, line);)
            EXPECT_TRUE(line.starts_with(std::string("  nuvra-cl ") + command)) << line;
    }
    const std::string scale = Run({"scale", "--help"}).out;
    for (const char* words : {"--filter nearest|bicubic ", "--mirror x|y|xy "})
        EXPECT_NE(scale.find(words), std::string::npos) << scale;
    EXPECT_EQ(Run({"--version"}).out.rfind("nuvra-cl ", 0), 0U);
}

TEST_F(ListingTest, AChartHasItsSizeAndASheetShowsEveryPicture) {
    ASSERT_EQ(Run({"chart", "chart.png", "--size", "300x200"}).status, 0);
    const TestPicture chart = ReadPicture("chart.png");
    EXPECT_EQ(chart.spec.width, 300);
    EXPECT_EQ(chart.spec.height, 200);
    EXPECT_EQ(chart.spec.nchannels, 4);
    const Outcome outcome = Run({"sheet", "sheet.png", "chart.png", "chart.png", "chart.png"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const TestPicture sheet = ReadPicture("sheet.png");
    // Two rows of two places; the fourth stays paper.
    const auto pixel = [&](int x, int y) {
        const size_t index = static_cast<size_t>(y * sheet.spec.width + x) * 3;
        return std::vector<int>(sheet.samples.begin() + static_cast<long>(index),
                                sheet.samples.begin() + static_cast<long>(index) + 3);
    };
    const std::vector<int> paper = pixel(0, 0);
    const int columns[] = {sheet.spec.width / 4, sheet.spec.width * 3 / 4};
    const int rows[] = {sheet.spec.height / 4, sheet.spec.height * 3 / 4};
    for (const int place : {0, 1, 2}) {
        int differing = 0;
        for (int x = -40; x < 40; x++)
            differing += pixel(columns[place % 2] + x, rows[place / 2]) != paper ? 1 : 0;
        EXPECT_GT(differing, 40) << place;
    }
    EXPECT_EQ(pixel(columns[1], rows[1]), paper);
}

}  // namespace

}  // namespace nuvra::test
