#include "program.h"

namespace nuvra::test {

namespace {

using UnixExamplesTest = ProgramTest;

TEST_F(UnixExamplesTest, AMachineThatLacksSomethingIsToldInASentence) {
    // By the name that the module asks for.
    std::filesystem::create_symlink(SCRIPTED_RUNTIME, "libOpenCL.so.1");
    // The example, the machine, how its output begins, and what it says on standard error.
    const std::tuple<std::string, std::string, const char*, const char*> cases[] = {
        {"list_devices", "PLATFORMS=", "", "list_devices: there is no OpenCL platform"},
        {"invert_image", "FAIL=clGetPlatformIDs=-1001", "", "invert_image: there is no OpenCL platform"},
        {"invert_image", "FAIL=clGetPlatformIDs=-9999", "", "invert_image: OpenCL code -9999"},
        {"fill_buffer", "PLATFORMS=';;'", "", "fill_buffer: no OpenCL platform has a device"},
        {"fill_buffer", "PLATFORMS=';One'", "On One\n", ""},
        {"list_devices", "PLATFORMS=';One'",
         "Platform 1:\n  no devices: CL_DEVICE_NOT_FOUND\nPlatform 2:\n  One\n", ""},
    };
    for (const auto& [example, machine, out, err] : cases) {
        SCOPED_TRACE(example + ' ' + machine);
        const Outcome outcome =
            RunShell("LD_LIBRARY_PATH=. FAKE_" + machine + " " EXAMPLES + example + " " MODULE_FILE);
        EXPECT_EQ(outcome.status, *err == '\0' ? 0 : 1);
        EXPECT_TRUE(outcome.out.starts_with(out)) << outcome.out;
        EXPECT_TRUE(outcome.err.starts_with(err)) << outcome.err;
        EXPECT_EQ(outcome.err.find('\n'), *err == '\0' ? std::string::npos : outcome.err.size() - 1);
    }
}

}  // namespace

}  // namespace nuvra::test
