#include "module_fixture.h"
#include "nuvra/opengl_context.h"

namespace nuvra::test {
namespace {

class BindingTest : public ModuleTest {
protected:
    void SetUp() override {}  // each test starts the module on its own runtime

    void ExpectNoOpenCL() {
        EXPECT_FALSE(OpenCL::IsAvailable());
        BaseArray<OpenCLPlatformRef> platforms;
        ASSERT_TRUE(platforms.Resize(2).IsOk());
        const auto devices = MakeArray<cl_device_id>({});
        const BaseArray<OpenCLDeviceRef> references;
        EXPECT_EQ(Outcome(OpenCL::GetPlatforms(platforms)), "OPENCL_UNINITIALIZED");
        EXPECT_EQ(platforms.GetCount(), 2);
        EXPECT_EQ(Outcome(OpenCL::GetDeviceFromId(nullptr)), "OPENCL_UNINITIALIZED");
        EXPECT_EQ(Outcome(OpenCL::CreateContext(nullptr, devices)), "OPENCL_UNINITIALIZED");
        EXPECT_EQ(Outcome(OpenCL::CreateGLSharedContext({}, nullptr)), "OPENCL_UNINITIALIZED");
        EXPECT_EQ(Outcome(OpenCL::CreateGLSharedContextForDevices({}, references)), "OPENCL_UNINITIALIZED");
        EXPECT_EQ(fake.calls.size(), 0U);
    }
};

TEST_F(BindingTest, WithoutALibraryTheModuleStartsWithOneWarningAndNoOpenCL) {
    Start("/nowhere/libOpenCL.so.1");
    ASSERT_EQ(host->diagnostics.size(), 1U);
    EXPECT_EQ(host->diagnostics[0].find("Warning: "), 0U) << host->diagnostics[0];
    ExpectNoOpenCL();
}

TEST_F(BindingTest, WithoutTheModuleEveryCallIsTheNullPointerError) {
    TestHost empty;
    ASSERT_TRUE(IsOk(empty.host.Start()));
    EXPECT_FALSE(OpenCL::IsAvailable());
    BaseArray<OpenCLPlatformRef> platforms;
    EXPECT_EQ(Outcome(OpenCL::GetPlatforms(platforms)), kNullPointer);
    EXPECT_EQ(Outcome(OpenCL::CreateContext(nullptr, {})), kNullPointer);
}

OpenCLContextRef g_keptToTheEnd;

TEST_F(BindingTest, WhatAProgramHoldsToTheEndIsReleasedThen) {
    const auto endWithContext = [&] {
        Start(FakeLibrary());
        g_keptToTheEnd = OpenCL::CreateContext(Platform(), Devices()).GetValue();
        host.reset();
        std::atexit([] { std::fprintf(stderr, "at the end"); });
        std::exit(g_keptToTheEnd ? 0 : 1);
    };
    EXPECT_EXIT(endWithContext(), testing::ExitedWithCode(0), "at the end");
}

TEST_F(BindingTest, TheFirstMissingFunctionIsNamedInTheWarning) {
    const std::pair<std::string, const char*> cases[] = {
        {FakeLibrary("_no_clGetMemObjectInfo"), "clGetMemObjectInfo"},
        {CONTROL_LIBRARY, "clGetPlatformIDs"},  // exports none of them
    };
    for (const auto& [library, missing] : cases) {
        Start(library);
        ASSERT_EQ(host->diagnostics.size(), 1U);
        EXPECT_EQ(host->diagnostics[0].find("Warning: "), 0U) << host->diagnostics[0];
        EXPECT_NE(host->diagnostics[0].find(missing), std::string::npos) << host->diagnostics[0];
        ExpectNoOpenCL();
        Stop();
    }
}

TEST_F(BindingTest, OnlyOpenGLSharingNeedsTheExtensionFunction) {
    Start(FakeLibrary("_no_clGetExtensionFunctionAddress"));
    EXPECT_EQ(host->diagnostics, Texts());
    EXPECT_TRUE(OpenCL::IsAvailable());
    MakeObjects();
    EXPECT_EQ(Outcome(cl.queue.Finish()), "OK");
}

TEST_F(BindingTest, ARuntimeThatCannotReleaseEventsIsUsedWithoutIt) {
    Start(FakeLibrary("_no_clReleaseEvent"));
    EXPECT_EQ(host->diagnostics, Texts());
    MakeObjects();
    OpenCLEventRef event;
    const size_t size = 1;
    EXPECT_EQ(
        Outcome(cl.queue.EnqueueNDRangeKernel(cl.kernel, 1, nullptr, &size, nullptr, 0, nullptr, &event)),
        "OK");
    EXPECT_EQ(Outcome(cl.queue.WaitForEvents(1, &event)), "OK");
    expectedLive = 1;
}

TEST_F(BindingTest, ARuntimeIsAvailableWhenItAnswersWithAPlatform) {
    Start(FakeLibrary());
    EXPECT_EQ(host->diagnostics, Texts());
    EXPECT_TRUE(OpenCL::IsAvailable());
    EXPECT_EQ(Take("clGetPlatformIDs"), (Texts{"0, null, ptr"}));
    fake.Fail("clGetPlatformIDs", CL_OUT_OF_HOST_MEMORY, 1);
    EXPECT_FALSE(OpenCL::IsAvailable());
    fake.platforms.clear();
    EXPECT_FALSE(OpenCL::IsAvailable());
}

}  // namespace
}  // namespace nuvra::test
