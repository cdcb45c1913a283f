#include <set>

#include "nuvra/open_cl_task.h"
#include "tracer.h"

namespace nuvra::test {
namespace {

using Allowed = std::set<std::string>;

/// What a scenario works with, beside the fixture's objects.
struct World {
    Objects& cl;
    cl_platform_id platform;
    const BaseArray<cl_device_id>& devices;
    OpenGLContextRef gl;
    OpenCLDeviceRef device;
    OpenCLMemoryObjectRef image;
    OpenCLKernelRef tail;
    std::vector<OpenCLEventRef> waitList;  ///< longer than what needs no memory
};

struct Scenario {
    const char* name;
    std::function<Result<void>(World&)> run;
    Allowed whenOutOfMemory;   ///< outcomes beside the out-of-memory error
    bool buildsAgain = false;  ///< with another group size after a build that failed

    friend void PrintTo(const Scenario& scenario, std::ostream* stream) { *stream << scenario.name; }
};

Result<void> ListDevices(World&) {
    BaseArray<OpenCLPlatformRef> platforms;
    BaseArray<OpenCLDeviceRef> devices;
    NUVRA_RETURN_IF_ERROR(OpenCL::GetPlatforms(platforms));
    NUVRA_RETURN_IF_ERROR(platforms[0].GetInfo(OpenCLPlatformInfo::EXTENSIONS));
    return platforms[0].GetDevices(devices);
}

Result<void> AskDevice(World& world) {
    NUVRA_ASSIGN_OR_RETURN(const OpenCLDeviceRef device, OpenCL::GetDeviceFromId(world.devices[0]));
    NUVRA_RETURN_IF_ERROR(device.GetInfo(OpenCLDeviceInfo::EXTENSIONS));
    NUVRA_RETURN_IF_ERROR(device.GetInfo(OpenCLDeviceInfo::MAX_WORK_ITEM_SIZES));
    return {};
}

Result<void> CreateContext(World& world) {
    NUVRA_ASSIGN_OR_RETURN(const OpenCLContextRef context,
                           OpenCL::CreateContext(world.platform, world.devices));
    NUVRA_RETURN_IF_ERROR(context.CreateCommandQueue());
    return {};
}

Result<void> ShareContext(World& world) {
    BaseArray<OpenCLDeviceRef> devices;
    NUVRA_RETURN_IF_ERROR(OpenCL::CreateGLSharedContext(world.gl, world.platform));
    NUVRA_RETURN_IF_ERROR(devices.Append(world.device));
    NUVRA_RETURN_IF_ERROR(OpenCL::CreateGLSharedContextForDevices(world.gl, devices));
    return {};
}

Result<void> CreateMemory(World& world) {
    const OpenCLContextRef& context = world.cl.context;
    BaseArray<OpenCLImageFormat> formats;
    NUVRA_RETURN_IF_ERROR(context.CreateBuffer(1, 16));
    NUVRA_RETURN_IF_ERROR(context.CreateImage2D(1, {}, 4, 4));
    NUVRA_RETURN_IF_ERROR(context.CreateImage3D(1, {}, 4, 4, 4));
    NUVRA_RETURN_IF_ERROR(context.CreateFromGLTexture2D(1, 3553, 0, 1));
    NUVRA_RETURN_IF_ERROR(context.CreateFromGLBuffer(1, 1));
    return context.GetSupportedImageFormats(1, OpenCLImageType::IMAGE2D, formats);
}

Result<void> MakeProgram(World& world) {
    const char* source = "kernel void Main() {}";
    BaseArray<UChar> binary;
    NUVRA_ASSIGN_OR_RETURN(const OpenCLProgramRef program,
                           world.cl.context.CreateProgramWithSource(1, &source));
    NUVRA_RETURN_IF_ERROR(program.Build(world.devices, nullptr));
    NUVRA_RETURN_IF_ERROR(program.GetBuildLog(world.devices[0]));
    NUVRA_RETURN_IF_ERROR(program.CreateKernel("Main"));
    NUVRA_RETURN_IF_ERROR(program.GetBinary(binary));
    NUVRA_RETURN_IF_ERROR(world.cl.context.CreateProgramWithBinary(world.device, binary));
    return {};
}

Result<void> SetArguments(World& world) {
    const OpenCLKernelRef& kernel = world.cl.kernel;
    const Vector32 vectors[6];
    const Int32 number = 1;
    size_t size = 0;
    NUVRA_RETURN_IF_ERROR(kernel.SetArg(0, world.cl.buffer));
    NUVRA_RETURN_IF_ERROR(kernel.SetArg(1, &number, 1));
    NUVRA_RETURN_IF_ERROR(kernel.SetArg(2, vectors, 6));
    NUVRA_RETURN_IF_ERROR(kernel.SetArgLocalMemory(3, 8));
    return kernel.GetWorkGroupInfo(world.device, 0, sizeof(size), &size);
}

Result<void> Launch(World& world) {
    const OpenCLCommandQueueRef& queue = world.cl.queue;
    const OpenCLKernelRef& kernel = world.cl.kernel;
    const size_t limits[] = {4, 2, 2};
    const auto* list = world.waitList.data();
    const auto count = static_cast<Int>(world.waitList.size());
    OpenCLEventRef event;
    NUVRA_RETURN_IF_ERROR(
        queue.EnqueueNDRangeKernel(kernel, 1, nullptr, limits, nullptr, count, list, &event));
    NUVRA_RETURN_IF_ERROR(queue.EnqueueRange(kernel, limits, 1, 23, 1, &event, &event));
    NUVRA_RETURN_IF_ERROR(queue.EnqueueGroupedRange(kernel, 4, world.tail, limits, 0, 23, 1, &event, &event));
    NUVRA_RETURN_IF_ERROR(
        queue.EnqueueGroupedRange(kernel, 4, world.tail, nullptr, 0, 23, 1, &event, &event));
    NUVRA_RETURN_IF_ERROR(queue.WaitForEvents(count, list));
    NUVRA_RETURN_IF_ERROR(queue.WaitForEvents(1, &event));
    NUVRA_RETURN_IF_ERROR(queue.Finish());
    return {};
}

Result<void> Transfer(World& world) {
    const OpenCLCommandQueueRef& queue = world.cl.queue;
    const OpenCLMemoryObjectRef& buffer = world.cl.buffer;
    const std::vector<OpenCLMemoryObjectRef> shared(20, buffer);
    const auto* list = world.waitList.data();
    const size_t box[] = {1, 1, 1};
    size_t pitch = 0;
    std::byte bytes[64] = {};
    OpenCLEventRef event;
    NUVRA_RETURN_IF_ERROR(queue.EnqueueWriteBuffer(buffer, true, 0, 8, bytes, 1, list, &event));
    NUVRA_RETURN_IF_ERROR(queue.EnqueueReadBuffer(buffer, true, 0, 8, bytes, 1, &event, &event));
    NUVRA_RETURN_IF_ERROR(queue.EnqueueMapBuffer(buffer, true, 1, 0, 8, 1, &event, &event));
    NUVRA_RETURN_IF_ERROR(queue.EnqueueUnmapMemObject(buffer, bytes, 1, &event, &event));
    NUVRA_RETURN_IF_ERROR(queue.EnqueueWriteImage(world.image, true, box, box, 0, 0, bytes, 1, list, &event));
    NUVRA_RETURN_IF_ERROR(queue.EnqueueReadImage(world.image, true, box, box, 0, 0, bytes, 1, list, &event));
    NUVRA_RETURN_IF_ERROR(
        queue.EnqueueMapImage(world.image, true, 1, box, box, &pitch, &pitch, 1, list, &event));
    NUVRA_RETURN_IF_ERROR(queue.EnqueueAcquireGLObjects(20, shared.data(), 1, &event, &event));
    NUVRA_RETURN_IF_ERROR(queue.EnqueueReleaseGLObjects(20, shared.data(), 1, &event, &event));
    return {};
}

/// Runs tasks on a queue out of order, where each kernel that needs another waits.
template <class... Tasks>
Result<void> RunTasks(World& world, const Tasks&... tasks) {
    OpenCLMemoryObjectRef memory[4];
    NUVRA_ASSIGN_OR_RETURN(const OpenCLContextRef context,
                           OpenCL::CreateContext(world.platform, world.devices));
    NUVRA_ASSIGN_OR_RETURN(const OpenCLCommandQueueRef queue,
                           context.CreateCommandQueue(OpenCLQueueFlags::OUT_OF_ORDER_EXEC_MODE));
    for (int i = 0; i < 2; i++) {
        NUVRA_ASSIGN_OR_RETURN(memory[i], context.CreateBuffer(1, 1 << 20));
        NUVRA_ASSIGN_OR_RETURN(memory[2 + i], context.CreateImage2D(1, {}, 8, 8));
    }
    const auto run = [&](const auto& task) -> Result<void> {
        const auto& [name, makeRecord] = task;
        const String key = MakeText(name);
        if (key.IsEmpty()) return NewError<OutOfMemoryErrorObject>("the test's own");
        NUVRA_ASSIGN_OR_RETURN(const OpenCLTaskRef made, context.GetTask(key));
        const auto record = makeRecord(memory);
        return made.Execute(context, queue, &record);
    };
    Result<void> result;
    static_cast<void>(((result = run(tasks), result.IsOk()) && ...));
    return result;
}

using Memory = OpenCLMemoryObjectRef*;

Result<void> RunBufferTasks(World& world) {
    return RunTasks(world,
                    std::pair("clearmem",
                              [](Memory m) {
                                  return ClearMemParameters{1, &m[0], 35, 7};
                              }),
                    std::pair("crc32c", [](Memory m) {
                        return Crc32cParameters{1, &m[0], &m[1], 9, true};
                    }));
}

Result<void> RunPictureTasks(World& world) {
    return RunTasks(world,
                    std::pair("image.invert",
                              [](Memory m) { return InvertImageParameters{1, &m[2], &m[3], 1, 1, 3, 3}; }),
                    std::pair("image.gamma",
                              [](Memory m) { return GammaImageParameters{1, &m[2], &m[3], 1, 1, 3, 3, 2}; }),
                    std::pair("image.stereo.sbs", [](Memory m) {
                        return StereoSbsParameters{1, &m[2], &m[2], &m[3], 1, 1, 3, 3};
                    }));
}

Result<void> RunScalingTasks(World& world) {
    const auto makeScaling = [](Memory m) {
        return ScaleParameters{1, &m[2], &m[3], 0, 0, 4, 4, 0, 0, 8, 8};
    };
    return RunTasks(world, std::pair("image.scalenearest", makeScaling),
                    std::pair("image.scalebicubic", makeScaling));
}

Result<void> RunPrefixSum(World& world) {
    UInt32 total = 0;
    return RunTasks(world, std::pair("prefixsum", [&](Memory m) {
                        return PrefixSumParameters{1, &m[0], &m[1], 32768, 20000, true, &total};
                    }));
}

const Scenario kScenarios[] = {
    // A device's texts and sizes may be missing; a missing version does not parse.
    {"ListDevices", ListDevices, {"OK", "UNSPECIFIED"}},
    {"AskDevice", AskDevice, {"OK", "UNSPECIFIED"}},
    {"CreateContext", CreateContext, {}},
    {"ShareContext", ShareContext, {"OK", "UNSPECIFIED", "EXTENSION_NOT_SUPPORTED"}},
    {"CreateMemory", CreateMemory, {}},
    {"MakeProgram", MakeProgram, {"OK"}},  // the log then is a text about it
    {"SetArguments", SetArguments, {}},
    {"Launch", Launch, {}},
    {"Transfer", Transfer, {}},
    {"RunBufferTasks", RunBufferTasks, {"OK", "UNSPECIFIED"}},
    {"RunPictureTasks", RunPictureTasks, {"UNSPECIFIED"}},
    {"RunScalingTasks", RunScalingTasks, {"UNSPECIFIED"}},
    {"RunPrefixSum", RunPrefixSum, {"OK", "UNSPECIFIED"}, true},
};

class FaultTest : public ModuleTest, public testing::WithParamInterface<Scenario> {
protected:
    static constexpr cl_int kCode = CL_OUT_OF_RESOURCES;
    /// How a call fails; an exception is thrown by the runtime.
    enum class Failure { CODE, BAD_ALLOC, EXCEPTION };

    void SetUp() override { isSharing = true; }
    void TearDown() override { g_trace = {}; }

    /// Runs the scenario on a module of its own after `arm`; `look` judges the outcome. The same scenario
    /// must then succeed, and nothing may be left.
    template <class Arm, class Look>
    void Run(const Arm& arm, const Look& look) {
        fake.Reset();
        fake::Object* device = fake.platforms[0]->devices[0];
        device->info[CL_DEVICE_LOCAL_MEM_SIZE] = fake::NumberBytes<cl_ulong>({32768});
        device->info[CL_DEVICE_EXTENSIONS] = fake::TextBytes("cl_khr_gl_sharing");
        fake.sharingDevices = {device};
        Start(FakeLibrary());
        MakeObjects();
        {
            const auto devices = Devices();
            World world{cl,
                        Platform(),
                        devices,
                        MakeGLContext(),
                        OpenCL::GetDeviceFromId(devices[0]).GetValue(),
                        cl.context.CreateImage2D(1, {}, 8, 8).GetValue(),
                        cl.program.CreateKernel("Tail").GetValue(),
                        {}};
            OpenCLEventRef event;
            const size_t one = 1;
            ASSERT_TRUE(IsOk(
                cl.queue.EnqueueNDRangeKernel(cl.kernel, 1, nullptr, &one, nullptr, 0, nullptr, &event)));
            world.waitList.assign(40, event);
            event = {};
            fake.calls.clear();
            arm();
            const std::string outcome = Outcome(GetParam().run(world));
            host->allocations.FailNone();
            look(outcome);
            EXPECT_EQ(Outcome(GetParam().run(world)), "OK") << "tried again";
        }
        Stop();
    }

    /// The outcomes that a scenario may have when a call of this function fails.
    static Allowed OutcomesAfter(const std::string& function, const std::string& code) {
        if (function.starts_with("clRelease") || function == "clGetProgramBuildInfo") return {"OK"};
        if (function == "clGetExtensionFunctionAddress") return {"EXTENSION_NOT_SUPPORTED"};
        if (function == "clGetPlatformInfo") return {"OK", "UNSPECIFIED"};
        if (function == "clGetDeviceInfo")
            return {"OK",         "UNSPECIFIED", "CL_INVALID_WORK_GROUP_SIZE", "EXTENSION_NOT_SUPPORTED",
                    kOutOfMemory, code};
        if (GetParam().buildsAgain && function == "clGetKernelWorkGroupInfo") return {"OK", code};
        const bool isOfBuild = function == "clCreateProgramWithSource" || function == "clBuildProgram" ||
                               function == "clCreateKernel";
        if (GetParam().buildsAgain && isOfBuild) return {"OK"};
        return {code};
    }

    /// Nothing but queries, for what a failure tells, and releases.
    void ExpectNoCommandAfter(int failing) {
        for (auto i = static_cast<size_t>(failing); i < fake.calls.size(); i++) {
            const std::string& name = fake.calls[i].name;
            EXPECT_TRUE(name.starts_with("clRelease") || name.starts_with("clGet")) << name;
        }
    }

    /// Makes the nth call fail as the kind says, and gives the code that is to come back.
    std::string FailNth(Failure kind, int nth) {
        if (kind == Failure::CODE) {
            fake.Fail("", kCode, nth);
            return CodeName(kCode);
        }
        fake.intercept = [kind, nth, seen = 0](const fake::Call&) mutable -> cl_int {
            if (++seen != nth) return CL_SUCCESS;
            if (kind == Failure::BAD_ALLOC) throw std::bad_alloc();
            throw 7;
        };
        return kind == Failure::BAD_ALLOC ? "CL_OUT_OF_HOST_MEMORY" : "UNSPECIFIED";
    }
};

TEST_P(FaultTest, EveryFailingCallIsReportedAndLeavesNothing) {
    const std::tuple<Failure, bool> kinds[] = {{Failure::CODE, false},
                                               {Failure::CODE, true},
                                               {Failure::BAD_ALLOC, false},
                                               {Failure::EXCEPTION, true}};
    for (const auto& [failure, isTraced] : kinds) {
        const Failure kind = failure;
        g_trace.isOffered = g_trace.isCapturing = isTraced;
        int count = 0;
        const auto countCalls = [&](const std::string& outcome) {
            EXPECT_EQ(outcome, "OK");
            count = static_cast<int>(fake.calls.size());
        };
        Run([] {}, countCalls);
        ASSERT_GT(count, 0);
        for (int failing = 1; failing <= count; failing++) {
            std::string code;
            const auto look = [&](const std::string& outcome) {
                const std::string& function = fake.calls.at(static_cast<size_t>(failing) - 1).name;
                EXPECT_TRUE(OutcomesAfter(function, code).contains(outcome))
                    << function << " gave " << outcome;
                if (outcome == code) ExpectNoCommandAfter(failing);
                fake.intercept = nullptr;
            };
            Run([&] { code = FailNth(kind, failing); }, look);
            ASSERT_FALSE(HasFailure()) << "call " << failing;
        }
    }
}

TEST_P(FaultTest, EveryFailingAllocationIsReportedAndLeavesNothing) {
    Int count = 0;
    Int before = 0;
    Run([&] { before = host->allocations.GetCount(); },
        [&](const std::string&) { count = host->allocations.GetCount() - before; });
    for (const bool onwards : {false, true}) {
        for (Int distance = 0; distance < count; distance++) {
            const auto look = [&](const std::string& outcome) {
                EXPECT_TRUE(outcome == kOutOfMemory || GetParam().whenOutOfMemory.contains(outcome))
                    << outcome;
            };
            Run([&] { host->allocations.FailFrom(distance, onwards); }, look);
            ASSERT_FALSE(HasFailure()) << "allocation " << distance << (onwards ? " and all after it" : "");
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Every, FaultTest, testing::ValuesIn(kScenarios),
                         [](const auto& info) { return info.param.name; });

TEST_F(ModuleTest, AStartThatFailsAnywhereLeavesNothing) {
    Stop();
    g_trace = {.isOffered = true};
    const std::map<std::string, std::string> redirects = {{"libOpenCL.so.1", FakeLibrary()},
                                                          {"opencl.dll", FakeLibrary()}};
    bool isComplete = false;
    for (Int distance = 0; !isComplete; distance++) {
        fake.Reset();
        TestHost failing(redirects);
        failing.allocations.FailFrom(distance);
        const Result<void> started = failing.Start({OPENCL_MODULE_FILE});
        isComplete = failing.allocations.GetCount() <= distance;
        failing.allocations.FailNone();
        EXPECT_TRUE(started.IsOk() || ErrorClass(started) == kOutOfMemory) << ErrorText(started);
        if (started.IsOk() && !OpenCL::IsAvailable()) {
            EXPECT_EQ(failing.diagnostics.size(), 1U) << "allocation " << distance;
        }
        EXPECT_EQ(failing.host.Shutdown(), Texts());
        ASSERT_FALSE(HasFailure()) << "allocation " << distance;
    }
    g_trace = {};
}

TEST_F(ModuleTest, ATracerIsUsedWhateverItsInitialisationMeets) {
    for (int failing = 1; failing <= 8; failing++) {
        Stop();
        fake.Reset();
        g_trace = {.isOffered = true};
        fake.Fail("", CL_OUT_OF_RESOURCES, failing);
        Start(FakeLibrary());
        g_trace.events.clear();
        EXPECT_TRUE(OpenCL::IsAvailable()) << failing;
        EXPECT_EQ(g_trace.events.size(), 2U) << failing;
    }
    Stop();
    g_trace = {};
}

}  // namespace
}  // namespace nuvra::test
