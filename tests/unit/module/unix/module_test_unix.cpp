#include <sys/syscall.h>
#include <unistd.h>

#include "tracer.h"

namespace nuvra::test {
namespace {

/// The test framework forks for the process whose end it expects.
TEST_F(ModuleTest, AForkedChildHasItsOwnThread) {
    Stop();
    g_trace = {.isOffered = true};
    Start(FakeLibrary());
    const auto isTracedAsItIs = [] {
        return OpenCL::IsAvailable() && g_trace.threads.back() == static_cast<UInt64>(syscall(SYS_gettid));
    };
    EXPECT_TRUE(isTracedAsItIs());
    EXPECT_EXIT(_exit(isTracedAsItIs() ? 0 : 1), testing::ExitedWithCode(0), "");
    Stop();
    EXPECT_EXIT(_exit(0), testing::ExitedWithCode(0), "") << "of the unloaded module nothing is called";
    g_trace = {};
}

TEST_F(ModuleTest, OpenGLSharingIsRefusedWhereTheSystemHasNone) {
    const OpenGLContextRef gl = MakeGLContext();
    EXPECT_EQ(Outcome(OpenCL::CreateGLSharedContext(gl, nullptr)), "EXTENSION_NOT_SUPPORTED");
    EXPECT_EQ(Outcome(OpenCL::CreateGLSharedContextForDevices(gl, {})), "EXTENSION_NOT_SUPPORTED");
}

}  // namespace
}  // namespace nuvra::test
