#include "module_fixture.h"

namespace nuvra::test {
namespace {

class BindingTest : public ModuleTest {
protected:
    void SetUp() override {}  // each test starts the module on its own runtime
};

TEST_F(BindingTest, WithoutALibraryOrAFunctionOfItTheModuleStartsWithOneWarningAndNoOpenCL) {
    const std::pair<std::string, const char*> cases[] = {
        {"/nowhere/libOpenCL.so.1", "cannot open the library"},
        {FakeLibrary("_no_clGetMemObjectInfo"), "clGetMemObjectInfo"},
        {CONTROL_LIBRARY, "clGetPlatformIDs"},  // exports none of them; the first is named
    };
    for (const auto& [library, missing] : cases) {
        Start(library);
        ASSERT_EQ(host->diagnostics.size(), 1U);
        EXPECT_EQ(host->diagnostics[0].find("Warning: "), 0U) << host->diagnostics[0];
        EXPECT_NE(host->diagnostics[0].find(missing), std::string::npos) << host->diagnostics[0];
        EXPECT_FALSE(OpenCL::IsAvailable());
        BaseArray<OpenCLPlatformRef> platforms;
        ASSERT_TRUE(platforms.Resize(2).IsOk());
        for (const ErrorRef& error :
             {OpenCL::GetPlatforms(platforms).GetError(), OpenCL::GetDeviceFromId(nullptr).GetError(),
              OpenCL::CreateContext(nullptr, {}).GetError(),
              OpenCL::CreateGLSharedContext({}, nullptr).GetError(),
              OpenCL::CreateGLSharedContextForDevices({}, {}).GetError()})
            EXPECT_EQ(Describe(error), "OPENCL_UNINITIALIZED");
        EXPECT_EQ(platforms.GetCount(), 2);
        EXPECT_EQ(fake.calls.size(), 0U);
        Stop();
    }
}

TEST_F(BindingTest, WithoutTheModuleEveryCallIsTheNullPointerError) {
    TestHost empty;
    ASSERT_TRUE(IsOk(empty.host.Start()));
    EXPECT_FALSE(OpenCL::IsAvailable());
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

TEST_F(BindingTest, ARuntimeIsUsedWithoutOpenGLSharingAndWithoutTheReleaseOfEvents) {
    isSharing = true;
    fake.platforms[0]->devices[0]->info[CL_DEVICE_EXTENSIONS] = fake::TextBytes("cl_khr_gl_sharing");
    for (const char* without : {"_no_clGetExtensionFunctionAddress", "_no_clReleaseEvent"}) {
        Start(FakeLibrary(without));
        EXPECT_EQ(host->diagnostics, Texts());
        EXPECT_EQ(Outcome(OpenCL::CreateGLSharedContext(MakeGLContext(), Platform())),
                  "EXTENSION_NOT_SUPPORTED");
        MakeObjects();
        OpenCLEventRef event;
        const size_t one = 1;
        EXPECT_EQ(
            Outcome(cl.queue.EnqueueNDRangeKernel(cl.kernel, 1, nullptr, &one, nullptr, 0, nullptr, &event)),
            "OK");
        EXPECT_EQ(Outcome(cl.queue.WaitForEvents(1, &event)), "OK");
        event = nullptr;
        expectedLive = std::string_view(without) == "_no_clReleaseEvent" ? 1 : 0;
        Stop();
    }
}

TEST_F(BindingTest, ARuntimeIsAvailableWhenItAnswersWithAPlatform) {
    Start(FakeLibrary());
    EXPECT_EQ(host->diagnostics, Texts());
    EXPECT_TRUE(OpenCL::IsAvailable());
    fake.Fail("clGetPlatformIDs", CL_OUT_OF_HOST_MEMORY, 1);
    EXPECT_FALSE(OpenCL::IsAvailable());
    fake.platforms.clear();
    EXPECT_FALSE(OpenCL::IsAvailable());
}

}  // namespace
}  // namespace nuvra::test
