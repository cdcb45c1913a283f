#include <thread>

#include "tracer.h"

namespace nuvra::test {
namespace {

class TraceTest : public ModuleTest {
protected:
    void SetUp() override {
        g_trace = {};
        g_trace.isOffered = true;
    }
    void TearDown() override {
        ModuleTest::TearDown();
        g_trace = {};
    }
    void StartWithObjects() {
        Start(FakeLibrary());
        MakeObjects();
        g_trace.events.clear();
    }
    static Texts TakeEvents() { return std::exchange(g_trace.events, {}); }
};

TEST_F(TraceTest, TheTracerIsToldAllNamesBeforeAnythingElse) {
    fake.AddDevice(fake.AddPlatform("Second"), "Other device");
    fake.platforms[1]->info.erase(CL_PLATFORM_NAME);
    fake.AddDevice(fake.AddPlatform("Third"), "Last device").info.erase(CL_DEVICE_NAME);
    fake.AddPlatform("Empty");
    Start(FakeLibrary());
    const std::string comment =
        "# OpenCL tracer initialization. Make all device names known to the parser "
        "so that the correct device can be found during execution.";
    EXPECT_EQ(
        TakeEvents(),
        (Texts{comment, "> OpenCLTracerInit i 0", "> OpenCLSetPlatformInfo PT platform1 \"Fake platform\"",
               "> OpenCLSetDeviceInfo PT device1 \"Fake device\"",
               "> OpenCLSetPlatformInfo PT platform3 \"Third\"",
               "> OpenCLSetPlatformInfo PT platform4 \"Empty\"", "> OpenCLTracerInit i 1"}));
}

TEST_F(TraceTest, ANameThatIsWrittenByHalfIsNotTold) {
    fake.intercept = [](const fake::Call& call) {
        const bool isName = call.name == "clGetPlatformInfo" || call.name == "clGetDeviceInfo";
        const void* value = isName ? std::get<const void*>(call.values[3]) : nullptr;
        if (value == nullptr) return CL_SUCCESS;
        std::strcpy(static_cast<char*>(const_cast<void*>(value)), "junk");
        return CL_OUT_OF_HOST_MEMORY;
    };
    Start(FakeLibrary());
    fake.intercept = nullptr;
    const Texts events = TakeEvents();
    ASSERT_EQ(events.size(), 5U);
    EXPECT_EQ(events[2], "> OpenCLSetPlatformInfo PT platform1 \"\"");
    EXPECT_EQ(events[3], "> OpenCLSetDeviceInfo PT device1 \"\"");
}

TEST_F(TraceTest, WithoutPlatformsTheTracerIsToldNothing) {
    fake.intercept = [](const fake::Call&) { return -1001; };
    Start(FakeLibrary());
    fake.intercept = nullptr;
    EXPECT_EQ(TakeEvents(), Texts());
    EXPECT_TRUE(OpenCL::IsAvailable());
    EXPECT_EQ(TakeEvents().size(), 2U) << "but it sees calls";
}

TEST_F(TraceTest, ATracerThatIsInactiveOrMissingSeesNothing) {
    for (const bool isOffered : {false, true}) {
        g_trace.isOffered = isOffered;
        g_trace.isActive = false;
        fake.Reset();
        Start(FakeLibrary());
        MakeObjects();
        EXPECT_EQ(Outcome(cl.queue.Finish()), "OK");
        Stop();
        EXPECT_EQ(g_trace.events, Texts());
    }
}

TEST_F(TraceTest, EventsCarryTheCallingThread) {
    StartWithObjects();
    g_trace.threads.clear();
    EXPECT_EQ(Outcome(cl.queue.Finish()), "OK");
    std::thread([&] { EXPECT_EQ(Outcome(cl.queue.Finish()), "OK"); }).join();
    ASSERT_EQ(g_trace.threads.size(), 4U);
    EXPECT_EQ(g_trace.threads[0], g_trace.threads[1]);
    EXPECT_NE(g_trace.threads[0], g_trace.threads[2]);
    EXPECT_EQ(g_trace.threads[2], g_trace.threads[3]);
}

TEST_F(TraceTest, ACapturingTracerGetsSourcesAndInitialBytes) {
    StartWithObjects();
    const char* sources[] = {"first text", "second"};
    const size_t lengths[] = {5, 0};
    char bytes[] = "host";
    const auto attached = [&] {
        Texts found;
        const UInt32 before = g_trace.lastCookie;
        static_cast<void>(cl.context.CreateProgramWithSource(2, sources, lengths));
        static_cast<void>(cl.context.CreateProgramWithSource(1, sources));
        for (const UInt32 flags : {32U, 8U, 1U})
            static_cast<void>(cl.context.CreateBuffer(flags, 4, flags > 1 ? bytes : nullptr));
        for (const std::string& text : TakeEvents()) {
            if (text[0] != '+') continue;
            const size_t end = text.find(' ', 2);
            const auto cookie = static_cast<UInt32>(std::stoul(text.substr(2, end - 2)));
            found.push_back(std::to_string(cookie - before) + text.substr(end));
        }
        return found;
    };
    EXPECT_EQ(attached(), Texts());
    g_trace.isCapturing = true;
    EXPECT_EQ(attached(), (Texts{"1 11 5 first 0", "1 11 0 second 1", "3 11 0 first text 0", "5 12 4 host -1",
                                 "7 12 4 host -1"}));
    sources[1] = nullptr;
    EXPECT_EQ(attached()[1], "2 11 0 first text 0") << "a null source has no text";
}

}  // namespace
}  // namespace nuvra::test
