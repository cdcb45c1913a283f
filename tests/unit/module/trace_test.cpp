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

    /// Runs an operation; gives its events but for the function names' common beginning.
    template <class Operation>
    Texts EventsOf(const Operation& operation) {
        g_trace.events.clear();
        operation();
        Texts events;
        for (std::string event : TakeEvents()) {
            if (const size_t at = event.find("nuvra::OpenCLInterface::"); at == 2) event.erase(2, 24);
            events.push_back(event);
        }
        return events;
    }
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

TEST_F(TraceTest, EveryCallHasItsCodesAndValues) {
    isSharing = true;
    StartWithObjects();
    const OpenCLDeviceRef device = OpenCL::GetDeviceFromId(Devices()[0]).GetValue();
    const auto devices = Devices();
    const auto binaryIn = MakeArray<UChar>({1, 2});
    fake.binary = {1, 2};
    BaseArray<UChar> binary;
    OpenCLEventRef event;
    OpenCLEventRef second;
    const size_t local[] = {1, 2, 1};
    const size_t global[] = {8, 6, 1};
    size_t pitch = 0;
    size_t sizes[3] = {};
    const char* sources[] = {"kernel void Main() {}", "abc"};
    const size_t lengths[] = {0, 2};
    std::byte bytes[64] = {};
    const Int32 ints[] = {3, -4};
    const UInt32 uints[] = {3, 4};
    const Float32 floats[] = {1.5F, 2};
    const Float64 doubles[] = {1.5, 2};
    const Vector32 vector{1, 2, 3};
    const OpenCLContextRef& context = cl.context;
    const OpenCLCommandQueueRef& queue = cl.queue;
    const OpenCLProgramRef& program = cl.program;
    const OpenCLKernelRef& kernel = cl.kernel;
    const OpenCLMemoryObjectRef& buffer = cl.buffer;
    OpenCLMemoryObjectRef image;

    struct Case {
        std::function<void()> operation;
        const char* before;  ///< its first event
        const char* after;   ///< its second
    };
#define CASE(operation, before, after)                       \
    {                                                        \
        [&] { static_cast<void>(operation); }, before, after \
    }
    const Case cases[] = {
        CASE(OpenCL::IsAvailable(), "clGetPlatformIDs uppx 0 null ptr", "clGetPlatformIDs iuaP 0 1 []"),
        CASE(OpenCL::CreateContext(Platform(), devices),
             "clCreateContext ruaPpppx [ptr platform1] 1 [device1] ptr ptr ptr",
             "clCreateContext iP 0 context2"),
        CASE(context.CreateCommandQueue(3), "clCreateCommandQueue PPRpx context1 device1 3 ptr",
             "clCreateCommandQueue iP 0 queue2"),
        CASE(context.CreateBuffer(33, 16, bytes), "clCreateBuffer Pwsppx context1 33 16 ptr ptr",
             "clCreateBuffer iP 0 memory2"),
        CASE(image = context.CreateImage2D(1, {}, 8, 4, 0).GetValue(),
             "clCreateImage2D Pwpsssppx context1 1 ptr 8 4 0 null ptr", "clCreateImage2D iP 0 memory3"),
        CASE(context.CreateImage3D(1, {}, 8, 4, 2),
             "clCreateImage3D Pwpsssssppx context1 1 ptr 8 4 2 0 0 null ptr", "clCreateImage3D iP 0 memory4"),
        CASE(context.CreateFromGLTexture2D(1, 3553, 2, 9),
             "clCreateFromGLTexture2D PwEiupx context1 1 3553 2 9 ptr",
             "clCreateFromGLTexture2D iP 0 memory5"),
        CASE(context.CreateFromGLBuffer(1, 9), "clCreateFromGLBuffer Pwupx context1 1 9 ptr",
             "clCreateFromGLBuffer iP 0 memory6"),
        CASE(context.CreateProgramWithSource(2, sources, lengths),
             "clCreateProgramWithSource Puapappx context1 2 [ptr ptr] [null ptr] ptr",
             "clCreateProgramWithSource iP 0 program2"),
        CASE(context.CreateProgramWithSource(1, sources),
             "clCreateProgramWithSource Puapappx context1 1 [ptr] [] ptr",
             "clCreateProgramWithSource iP 0 program3"),
        CASE(context.CreateProgramWithBinary(device, binaryIn),
             "clCreateProgramWithBinary Puppappx context1 1 ptr ptr [ptr] ptr",
             "clCreateProgramWithBinary iP 0 program4"),
        CASE(program.Build(devices, "-w"), "clBuildProgram PuaPTppx program1 1 [device1] \"-w\" null null",
             "clBuildProgram i 0"),
        CASE(program.Build({}, nullptr), "clBuildProgram PuaPTppx program1 0 [] null null null",
             "clBuildProgram i 0"),
        CASE(program.GetBuildLog(devices[0]),
             "clGetProgramBuildInfo PPvsppx program1 device1 4483 0 null ptr",
             "clGetProgramBuildInfo iTs 0 \"\" 9"),
        CASE(program.GetBinary(binary), "clGetProgramInfo Pvsppx program1 4453 8 ptr null",
             "clGetProgramInfo iTs 0 \"\" 0"),
        CASE(program.CreateKernel("Tail"), "clCreateKernel PTpx program1 \"Tail\" ptr",
             "clCreateKernel iP 0 kernel2"),
        CASE(queue.EnqueueNDRangeKernel(kernel, 2, nullptr, global, local, 0, nullptr, &event),
             "clEnqueueNDRangeKernel PPuasasasuaPPx queue1 kernel1 2 [] [8 6] [1 2] 0 [] ptr",
             "clEnqueueNDRangeKernel iP 0 event1"),
        CASE(queue.EnqueueRange(kernel, global, 7, 3, 1, &event),
             "clEnqueueNDRangeKernel PPuasasasuaPPx queue1 kernel1 3 [7 0 0] [3 1 1] [] 1 [event1] null",
             "clEnqueueNDRangeKernel iP 0 null"),
        CASE(queue.WaitForEvents(1, &event), "clWaitForEvents uaPx 1 [event1]", "clWaitForEvents i 0"),
        CASE(queue.Finish(), "clFinish Px queue1", "clFinish i 0"),
        CASE(queue.EnqueueMapBuffer(buffer, true, 1, 4, 8, 0, nullptr, &second),
             "clEnqueueMapBuffer PPbWssuaPpx queue1 memory1 1 1 4 8 0 [] ptr",
             "clEnqueueMapBuffer pP ptr event2"),
        CASE(queue.EnqueueMapImage(image, false, 2, local, global, &pitch, &pitch, 1, &event),
             "clEnqueueMapImage PPbasasppuaPpx queue1 memory3 0 [1 2 1] [8 6 1] ptr ptr 1 [event1] null",
             "clEnqueueMapImage pP ptr null"),
        CASE(queue.EnqueueUnmapMemObject(buffer, bytes, 1, &event),
             "clEnqueueUnmapMemObject PPpuaPpx queue1 memory1 ptr 1 [event1] null",
             "clEnqueueUnmapMemObject iP 0 null"),
        CASE(queue.EnqueueReadBuffer(buffer, true, 4, 8, bytes, 1, &event),
             "clEnqueueReadBuffer PPbssuaPpx queue1 memory1 1 4 8 1 [event1] null",
             "clEnqueueReadBuffer iP 0 null"),
        CASE(queue.EnqueueWriteBuffer(buffer, true, 4, 8, bytes),
             "clEnqueueWriteBuffer PPbsspuaPpx queue1 memory1 1 4 8 ptr 0 [] null",
             "clEnqueueWriteBuffer iP 0 null"),
        CASE(queue.EnqueueReadImage(image, true, local, global, 5, 6, bytes),
             "clEnqueueReadImage PPbasassspuaPpx queue1 memory3 1 [1 2 1] [8 6 1] 5 6 ptr 0 [] null",
             "clEnqueueReadImage iP 0 null"),
        CASE(queue.EnqueueWriteImage(image, true, local, global, 5, 6, bytes),
             "clEnqueueWriteImage PPbasassspuaPpx queue1 memory3 1 [1 2 1] [8 6 1] 5 6 ptr 0 [] null",
             "clEnqueueWriteImage iP 0 null"),
        CASE(queue.EnqueueNDRangeKernel(kernel, 70, nullptr, global, global),
             "clEnqueueNDRangeKernel PPuasasasuaPPx queue1 kernel1 70 [] [8 6 1] [8 6 1] 0 [] null",
             "clEnqueueNDRangeKernel iP -53 null"),
        CASE(queue.EnqueueAcquireGLObjects(1, &buffer),
             "clEnqueueAcquireGLObjects PuaPuaPpx queue1 1 [memory1] 0 [] null",
             "clEnqueueAcquireGLObjects iP 0 null"),
        CASE(queue.EnqueueReleaseGLObjects(0, nullptr, 0, nullptr, &event),
             "clEnqueueReleaseGLObjects PuaPuaPpx queue1 0 [] 0 [] ptr",
             "clEnqueueReleaseGLObjects iP 0 event3"),
        CASE(second = {}, "clReleaseEvent Px event2", "clReleaseEvent i 0"),
        CASE(kernel.GetWorkGroupInfo(device, 0, 24, sizes),
             "clGetKernelWorkGroupInfo PPYsppx kernel1 device1 4528 24 ptr null",
             "clGetKernelWorkGroupInfo is 0 256"),
        CASE(kernel.GetWorkGroupInfo(device, 1, 24, sizes),
             "clGetKernelWorkGroupInfo PPYsppx kernel1 device1 4529 24 ptr null",
             "clGetKernelWorkGroupInfo ias 0 [8 4 2]"),
        CASE(kernel.GetWorkGroupInfo(device, 1, 8, sizes),
             "clGetKernelWorkGroupInfo PPYsppx kernel1 device1 4529 8 ptr null",
             "clGetKernelWorkGroupInfo ias -30 []"),
        CASE(kernel.GetWorkGroupInfo(device, 2, 24, sizes),
             "clGetKernelWorkGroupInfo PPYsppx kernel1 device1 4530 24 ptr null",
             "clGetKernelWorkGroupInfo iu 0 1024"),
        CASE(kernel.SetArg(0, buffer), "clSetKernelArg PusTaPx kernel1 0 8 \"cl_mem\" [memory1]",
             "clSetKernelArg i 0"),
        CASE(kernel.SetArgLocalMemory(0, 64), "clSetKernelArg PusTaPx kernel1 0 64 \"cl_mem\" []",
             "clSetKernelArg i 0"),
        CASE(kernel.SetArg(0, ints, 2), "clSetKernelArg PusTaix kernel1 0 8 \"cl_int\" [3 -4]",
             "clSetKernelArg i 0"),
        CASE(kernel.SetArg(0, static_cast<const Int32*>(nullptr), 2),
             "clSetKernelArg PusTaix kernel1 0 8 \"cl_int\" []", "clSetKernelArg i 0"),
        CASE(kernel.SetArg(0, uints, 2), "clSetKernelArg PusTaix kernel1 0 8 \"cl_uint\" [3 4]",
             "clSetKernelArg i 0"),
        CASE(kernel.SetArg(0, floats, 1), "clSetKernelArg PusTafx kernel1 0 4 \"cl_float\" [1.500000]",
             "clSetKernelArg i 0"),
        CASE(kernel.SetArg(0, doubles, 2),
             "clSetKernelArg PusTaFx kernel1 0 16 \"cl_double\" [1.500000 2.000000]", "clSetKernelArg i 0"),
        CASE(kernel.SetArg(0, &vector, 1),
             "clSetKernelArg PusTafx kernel1 0 16 \"cl_float\" [1.000000 2.000000 3.000000 0.000000]",
             "clSetKernelArg i 0"),
        CASE(program.Release(), "clReleaseProgram Px program1", "clReleaseProgram i 0"),
        CASE(kernel.Release(), "clReleaseKernel Px kernel1", "clReleaseKernel i 0"),
        CASE(buffer.Release(), "clReleaseMemObject Px memory1", "clReleaseMemObject i 0"),
        CASE(queue.Release(), "clReleaseCommandQueue Px queue1", "clReleaseCommandQueue i 0"),
        CASE(cl.context = {}, "clReleaseContext Px context1", "clReleaseContext i 0"),
    };
#undef CASE
    for (const Case& one : cases) {
        const Texts events = EventsOf(one.operation);
        ASSERT_GE(events.size(), 2U) << one.before;
        EXPECT_EQ(events[0], std::string("> ") + one.before);
        EXPECT_EQ(events[1], std::string("< ") + one.after);
    }
}

TEST_F(TraceTest, QueriesForTextsAndNumbersHaveTheirOwnAfterCodes) {
    StartWithObjects();
    BaseArray<OpenCLPlatformRef> platforms;
    BaseArray<OpenCLDeviceRef> devices;
    Texts events = EventsOf([&] { EXPECT_EQ(Outcome(OpenCL::GetPlatforms(platforms)), "OK"); });
    events.resize(8);
    EXPECT_EQ(events, (Texts{"> clGetPlatformIDs uppx 0 null ptr", "< clGetPlatformIDs iuaP 0 1 []",
                             "> clGetPlatformIDs uppx 1 ptr ptr", "< clGetPlatformIDs iuaP 0 1 [platform1]",
                             "> clGetPlatformInfo Pmsppx platform1 2306 0 null ptr",
                             "< clGetPlatformInfo iTs 0 \"\" 14",
                             "> clGetPlatformInfo Pmsppx platform1 2306 14 ptr null",
                             "< clGetPlatformInfo iTs 0 \"Fake platform\" 0"}));
    fake.Fail("clGetDeviceInfo", CL_OUT_OF_RESOURCES, 4);
    events = EventsOf([&] { EXPECT_EQ(Outcome(platforms[0].GetDevices(devices)), "OK"); });
    const auto first = events.begin();
    EXPECT_EQ(
        Texts(first, first + 12),
        (Texts{"> clGetDeviceIDs PNuppx platform1 4294967295 0 null ptr", "< clGetDeviceIDs iuaP 0 1 []",
               "> clGetDeviceIDs PNuppx platform1 4294967295 1 ptr ptr",
               "< clGetDeviceIDs iuaP 0 1 [device1]", "> clGetDeviceInfo Pnsppx device1 4139 0 null ptr",
               "< clGetDeviceInfo i 0", "> clGetDeviceInfo Pnsppx device1 4139 12 ptr null",
               "< clGetDeviceInfo iTs 0 \"Fake device\" 0",
               "> clGetDeviceInfo Pnsppx device1 4140 0 null ptr", "< clGetDeviceInfo i 0",
               "> clGetDeviceInfo Pnsppx device1 4140 12 ptr null", "< clGetDeviceInfo iTs -5 \"\" 0"}));
    const std::pair<const char*, const char*> values[] = {
        {"> clGetDeviceInfo Pnsppx device1 4141 7 ptr null", "< clGetDeviceInfo iTs 0 \"352.86\" 0"},
        {"> clGetDeviceInfo Pnsppx device1 4143 16 ptr null", "< clGetDeviceInfo i 0"},
        {"> clGetDeviceInfo Pnsppx device1 4096 8 ptr null", "< clGetDeviceInfo iNs 0 4 0"},
        {"> clGetDeviceInfo Pnsppx device1 4099 4 ptr null", "< clGetDeviceInfo i 0"},
    };
    for (const auto& [before, after] : values) {
        const auto found = std::find(events.begin(), events.end(), before);
        ASSERT_LT(found + 1, events.end()) << before;
        EXPECT_EQ(found[1], after);
    }
}

TEST_F(TraceTest, FailuresAreTracedWithTheirCodeAndNoHandle) {
    StartWithObjects();
    for (const char* name : {"clCreateContext", "clCreateBuffer", "clEnqueueNDRangeKernel",
                             "clEnqueueMapBuffer", "clGetPlatformIDs"})
        fake.Fail(name, CL_OUT_OF_RESOURCES);
    OpenCLEventRef event;
    const Texts events = EventsOf([&] {
        const size_t size = 1;
        EXPECT_FALSE(OpenCL::CreateContext(Platform(), Devices()).IsOk());
        EXPECT_FALSE(cl.context.CreateBuffer(1, 8).IsOk());
        EXPECT_FALSE(
            cl.queue.EnqueueNDRangeKernel(cl.kernel, 1, nullptr, &size, nullptr, 0, nullptr, &event).IsOk());
        EXPECT_FALSE(cl.queue.EnqueueMapBuffer(cl.buffer, true, 1, 0, 8, 0, nullptr, &event).IsOk());
        EXPECT_FALSE(OpenCL::IsAvailable());
    });
    Texts after;
    for (const std::string& text : events)
        if (text[0] == '<') after.push_back(text);
    EXPECT_EQ(after, (Texts{"< clCreateContext iP -5 null", "< clCreateBuffer iP -5 null",
                            "< clEnqueueNDRangeKernel iP -5 null", "< clEnqueueMapBuffer pP null null",
                            "< clGetPlatformIDs iuaP -5 0 []"}));
}

TEST_F(TraceTest, ArgumentsOfEightAndSixteenBitsHaveOnlyAnAfterEvent) {
    StartWithObjects();
    const Char chars[2] = {};
    const UChar bytes[2] = {};
    const Int16 shorts[2] = {};
    const UInt16 words[2] = {};
    const Texts events = EventsOf([&] {
        const Result<void> results[] = {cl.kernel.SetArg(0, chars, 2), cl.kernel.SetArg(0, bytes, 2),
                                        cl.kernel.SetArg(0, shorts, 2), cl.kernel.SetArg(0, words, 2)};
        for (const Result<void>& result : results) EXPECT_EQ(Outcome(result), "OK");
    });
    EXPECT_EQ(events, Texts(4, "< clSetKernelArg i 0"));
}

TEST_F(TraceTest, FormatAndImageQueriesAreNotTraced) {
    StartWithObjects();
    const OpenCLMemoryObjectRef image = cl.context.CreateImage2D(1, {}, 8, 4).GetValue();
    BaseArray<OpenCLImageFormat> formats;
    EXPECT_EQ(EventsOf([&] {
                  EXPECT_EQ(Outcome(cl.context.GetSupportedImageFormats(1, {}, formats)), "OK");
                  EXPECT_FALSE(image.GetImageInfo(4).IsEmpty());
              }),
              Texts());
}

TEST_F(TraceTest, ACapturingTracerGetsSourcesAndInitialBytes) {
    StartWithObjects();
    const char* sources[] = {"first text", "second"};
    const size_t lengths[] = {5, 0};
    char bytes[] = "host";
    const auto attached = [&] {
        Texts found;
        const UInt32 before = g_trace.lastCookie;
        for (const std::string& text : EventsOf([&] {
                 static_cast<void>(cl.context.CreateProgramWithSource(2, sources, lengths));
                 static_cast<void>(cl.context.CreateProgramWithSource(1, sources));
                 for (const UInt32 flags : {32U, 8U, 1U})
                     static_cast<void>(cl.context.CreateBuffer(flags, 4, flags > 1 ? bytes : nullptr));
             })) {
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
