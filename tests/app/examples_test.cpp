#include "program.h"

namespace nuvra::test {

namespace {

using ExamplesTest = ProgramTest;

TEST_F(ExamplesTest, AMachineThatLacksSomethingIsToldInASentence) {
    // By the name that the module asks for.
    std::filesystem::create_symlink(SCRIPTED_RUNTIME, "libOpenCL.so.1");
    const struct {
        const char* example;
        const char* machine;
        int status;
        const char* out;  // how it begins
        const char* err;
    } cases[] = {
        {"list_devices", "FAKE_PLATFORMS=", 1, "", "list_devices: there is no OpenCL platform"},
        {"invert_image", "FAKE_FAIL=clGetPlatformIDs=-1001", 1, "",
         "invert_image: there is no OpenCL platform"},
        {"fill_buffer", "FAKE_PLATFORMS=';;'", 1, "", "fill_buffer: no OpenCL platform has a device"},
        {"fill_buffer", "FAKE_FAIL=clGetPlatformIDs=-9999", 1, "", "fill_buffer: OpenCL code -9999"},
        {"fill_buffer", "FAKE_PLATFORMS=';One'", 0, "On One\n", ""},
        {"list_devices", "FAKE_PLATFORMS=';One'", 0,
         "Platform 1:\n  no devices: CL_DEVICE_NOT_FOUND\nPlatform 2:\n  One\n", ""},
    };
    for (const auto& [example, machine, status, out, err] : cases) {
        SCOPED_TRACE(std::string(example) + ' ' + machine);
        const Outcome outcome =
            RunShell(std::string("LD_LIBRARY_PATH=. ") + machine + " " EXAMPLES + example + " " MODULE_FILE);
        EXPECT_EQ(outcome.status, status);
        EXPECT_TRUE(outcome.out.starts_with(out)) << outcome.out;
        EXPECT_TRUE(outcome.err.starts_with(err)) << outcome.err;
        EXPECT_EQ(outcome.err.find('\n'), *err == '\0' ? std::string::npos : outcome.err.size() - 1);
    }
}

}  // namespace

}  // namespace nuvra::test
