#include "tracing_fixture.h"

namespace nuvra::test {
namespace {

class ReportTest : public TracingTest {
protected:
    void Launch(OpenCLEventRef* event = nullptr) {
        const size_t size = 1;
        static_cast<void>(
            cl.queue.EnqueueNDRangeKernel(cl.kernel, 1, nullptr, &size, nullptr, 0, nullptr, event));
    }
    /// The row of the table that begins with `name`: count and failures.
    std::pair<int, int> FindRow(const std::string& name) const {
        std::istringstream lines(tracing->GetCallTable());
        for (std::string line; std::getline(lines, line);) {
            if (!line.starts_with(name + ' ')) continue;
            std::istringstream columns(line.substr(name.size()));
            int count = 0;
            double total = 0;
            double shortest = 0;
            double mean = 0;
            double longest = 0;
            int failed = 0;
            columns >> count >> total >> shortest >> mean >> longest >> failed;
            EXPECT_LE(shortest, mean) << line;
            EXPECT_LE(mean, longest) << line;
            EXPECT_LE(longest, total) << line;
            return {count, failed};
        }
        return {0, 0};
    }
};

TEST_F(ReportTest, TheTableCountsCallsFailuresAndLaunchesByKernel) {
    StartTraced({.countsCalls = true});
    MakeObjects();
    const Char bytes[1] = {};
    fake.Fail("clEnqueueNDRangeKernel", CL_OUT_OF_RESOURCES, 2);
    for (int i = 0; i < 3; i++) Launch();
    cl.kernel = cl.program.CreateKernel("Tail").GetValue();
    Launch();
    EXPECT_EQ(Outcome(cl.kernel.SetArg(0, bytes, 1)), "OK");
    EXPECT_EQ(FindRow("clEnqueueNDRangeKernel"), std::pair(4, 1));
    EXPECT_EQ(FindRow("  Main"), std::pair(3, 1));
    EXPECT_EQ(FindRow("  Tail"), std::pair(1, 0));
    EXPECT_EQ(FindRow("clSetKernelArg"), std::pair(1, 0)) << "though its time is not known";
    EXPECT_EQ(FindRow("clFinish"), std::pair(0, 0));
}

TEST_F(ReportTest, LeaksAreNamedWithTheCallsThatMadeThem) {
    StartTraced({.keepsMakers = true});
    MakeObjects();
    OpenCLEventRef event;
    Launch(&event);
    EXPECT_EQ(tracing->GetLeaks().size(), 6U) << "all that is in use";
    EXPECT_EQ(tracing->CountCreated(), 6);
    // A release that fails leaves the object where it is.
    fake.Fail("clReleaseKernel", CL_OUT_OF_RESOURCES);
    cl.kernel = {};
    event = {};
    Stop();
    const std::vector<std::string> leaks = tracing->GetLeaks();
    ASSERT_EQ(leaks.size(), 1U);
    EXPECT_TRUE(leaks[0].starts_with("kernel#1 Main (0x")) << leaks[0];
    EXPECT_NE(leaks[0].find(": clCreateKernel(program=program#1 ("), leaks[0].npos) << leaks[0];
}

TEST_F(ReportTest, SerializedEnqueuesAreWaitedForAndOthersAreNot) {
    StartTraced({.isSerialized = true});
    MakeObjects();
    int value = 0;
    fake.Fail("clEnqueueNDRangeKernel", CL_OUT_OF_RESOURCES, 2);
    Launch();
    Launch();
    EXPECT_EQ(Outcome(cl.queue.EnqueueReadBuffer(cl.buffer, false, 0, 4, &value)), "OK");
    EXPECT_EQ(Outcome(cl.kernel.SetArg(0, &value, 1)), "OK");
    EXPECT_EQ(TakeNames(), (Texts{"clEnqueueNDRangeKernel", "clFinish", "clEnqueueNDRangeKernel",
                                  "clEnqueueReadBuffer", "clFinish", "clSetKernelArg"}));
    const Texts log = TakeLog();
    EXPECT_EQ(
        std::ranges::count_if(log, [](const std::string& line) { return line.starts_with("clFinish"); }), 0)
        << "the tracer's own calls are not the program's";
    fake.Fail("clFinish", CL_OUT_OF_HOST_MEMORY);
    Launch();
    EXPECT_TRUE(TakeLog().back().ends_with("event=null, finished=\"CL_OUT_OF_HOST_MEMORY\""));
}

TEST_F(ReportTest, SourcesAndSizesOfInitialDataAreAttached) {
    StartTraced();
    MakeObjects();
    const char* sources[] = {"first text", "second"};
    const size_t lengths[] = {5, 0};
    char bytes[] = "host";
    static_cast<void>(cl.context.CreateProgramWithSource(2, sources, lengths));
    static_cast<void>(cl.context.CreateBuffer(32, 4, bytes));
    Finish();
    const Json events = ReadTrace();
    std::vector<Json> attached;
    for (const Json& event : events)
        if (event.at("args").contains("attached")) attached.push_back(event["args"]["attached"]);
    ASSERT_EQ(attached.size(), 3U) << "the fixture's program and these two";
    EXPECT_EQ(attached[1], Json::parse(R"({"text[0]": "first", "text[1]": "second"})"));
    EXPECT_EQ(attached[2], Json::parse(R"({"bytes": 4})"));
}

TEST_F(ReportTest, ObjectsThatOutliveTheirHostAreStillTracedSafely) {
    StartTraced();
    MakeObjects();
    const OpenCLMemoryObjectRef kept = cl.buffer;
    cl = {};
    EXPECT_EQ(host->host.Shutdown().size(), 1U);
    host.reset();
    TakeLog();
    EXPECT_EQ(Outcome(kept.Release()), "OK");
    EXPECT_EQ(TakeLog(), Texts{"clReleaseMemObject(memobj=buffer#1) -> result=CL_SUCCESS"});
}

TEST_F(ReportTest, WithoutTracingTheHostOffersNoTracer) {
    Start(FakeLibrary());
    EXPECT_TRUE(OpenCL::IsAvailable());
    EXPECT_EQ(fake.TextsOf("clGetPlatformIDs").size(), 1U) << "nobody was told the names of the devices";
}

}  // namespace
}  // namespace nuvra::test
