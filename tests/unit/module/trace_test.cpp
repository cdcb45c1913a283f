#include <thread>

#include "tracer.h"

namespace nuvra::test {
namespace {

class TraceTest : public ModuleTest {
protected:
    void SetUp() override { g_trace = {.isOffered = true}; }
    void TearDown() override {
        ModuleTest::TearDown();
        g_trace = {};
    }
    static Texts TakeEvents() { return std::exchange(g_trace.events, {}); }
};

TEST_F(TraceTest, TheTracerIsToldAllNamesButNoHalvesBeforeAnythingElse) {
    fake.AddDevice(fake.AddPlatform("Second"), "Other device");
    fake.platforms[1]->info.erase(CL_PLATFORM_NAME);
    fake::Object& third = fake.AddPlatform("Third");
    fake.AddDevice(third, "Last device").info.erase(CL_DEVICE_NAME);
    fake.AddDevice(third, "Half");
    fake.AddPlatform("Half");
    fake.intercept = [](const fake::Call& call) {
        const bool isName = call.name == "clGetPlatformInfo" || call.name == "clGetDeviceInfo";
        if (!isName || call.values[2] != fake::Value(UInt64{5})) return CL_SUCCESS;
        std::strcpy(static_cast<char*>(const_cast<void*>(std::get<const void*>(call.values[3]))), "Ha");
        return CL_OUT_OF_HOST_MEMORY;
    };
    Start(FakeLibrary());
    const std::string comment =
        "# OpenCL tracer initialization. Make all device names known to the parser "
        "so that the correct device can be found during execution.";
    EXPECT_EQ(
        TakeEvents(),
        (Texts{comment, "> OpenCLTracerInit i 0", "> OpenCLSetPlatformInfo PT platform1 \"Fake platform\"",
               "> OpenCLSetDeviceInfo PT device1 \"Fake device\"",
               "> OpenCLSetPlatformInfo PT platform3 \"Third\"", "> OpenCLSetDeviceInfo PT device4 \"\"",
               "> OpenCLSetPlatformInfo PT platform4 \"\"", "> OpenCLTracerInit i 1"}));
}

TEST_F(TraceTest, ATracerThatIsInactiveOrMissingOrWithoutPlatformsIsToldNothing) {
    const std::tuple<bool, bool, int> cases[] = {{false, true, 1}, {true, false, 1}, {true, true, 0}};
    for (const auto& [isOffered, isActive, platforms] : cases) {
        fake.Reset();
        fake.platforms.resize(platforms);
        g_trace.isOffered = isOffered;
        g_trace.isActive = isActive;
        Start(FakeLibrary());
        EXPECT_EQ(TakeEvents(), Texts());
        static_cast<void>(OpenCL::IsAvailable());
        EXPECT_EQ(TakeEvents().size(), platforms > 0 ? 0U : 2U) << "without platforms it sees calls";
        Stop();
    }
}

TEST_F(TraceTest, EventsCarryTheCallingThread) {
    Start(FakeLibrary());
    g_trace.threads.clear();
    EXPECT_TRUE(OpenCL::IsAvailable());
    std::thread([] { EXPECT_TRUE(OpenCL::IsAvailable()); }).join();
    ASSERT_EQ(g_trace.threads.size(), 4U);
    EXPECT_EQ(g_trace.threads[0], g_trace.threads[1]);
    EXPECT_NE(g_trace.threads[0], g_trace.threads[2]);
    EXPECT_EQ(g_trace.threads[2], g_trace.threads[3]);
}

}  // namespace
}  // namespace nuvra::test
