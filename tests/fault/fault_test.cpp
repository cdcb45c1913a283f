#include <set>

#include "gl_context.h"
#include "task_fixture.h"
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

/// Runs the tasks whose names begin so, on a queue out of order, where each kernel that needs another waits.
Result<void> RunTasks(World& world, std::string_view begin) {
    OpenCLMemoryObjectRef memory[4];
    UInt32 total = 0;
    NUVRA_ASSIGN_OR_RETURN(const OpenCLContextRef context,
                           OpenCL::CreateContext(world.platform, world.devices));
    NUVRA_ASSIGN_OR_RETURN(const OpenCLCommandQueueRef queue,
                           context.CreateCommandQueue(OpenCLQueueFlags::OUT_OF_ORDER_EXEC_MODE));
    for (int i = 0; i < 2; i++) {
        NUVRA_ASSIGN_OR_RETURN(memory[i], context.CreateBuffer(1, 1 << 20));
        NUVRA_ASSIGN_OR_RETURN(memory[2 + i], context.CreateImage2D(1, {}, 8, 8));
    }
    for (const TaskCase& one : MakeTaskCases(memory, &total)) {
        if (!std::string_view(one.task).starts_with(begin)) continue;
        const String key = MakeText(one.task);
        if (key.IsEmpty()) return NewError<OutOfMemoryErrorObject>("the test's own");
        NUVRA_ASSIGN_OR_RETURN(const OpenCLTaskRef task, context.GetTask(key));
        NUVRA_RETURN_IF_ERROR(task.Execute(context, queue, one.record.data()));
    }
    return {};
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
    {"ClearAndCheck", [](World& world) { return RunTasks(world, "c"); }, {"OK", "UNSPECIFIED"}},
    {"Invert", [](World& world) { return RunTasks(world, "image.i"); }, {"UNSPECIFIED"}},
    {"Gamma", [](World& world) { return RunTasks(world, "image.g"); }, {"UNSPECIFIED"}},
    {"StereoAndScale", [](World& world) { return RunTasks(world, "image.s"); }, {"UNSPECIFIED"}},
    {"PrefixSum", [](World& world) { return RunTasks(world, "prefixsum"); }, {"OK", "UNSPECIFIED"}, true},
};

class FaultTest : public ModuleTest, public testing::WithParamInterface<Scenario> {
protected:
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
                        std::vector<OpenCLEventRef>(40)};
            const size_t one = 1;
            ASSERT_TRUE(IsOk(cl.queue.EnqueueNDRangeKernel(cl.kernel, 1, nullptr, &one, nullptr, 0, nullptr,
                                                           &world.waitList[0])));
            std::ranges::fill(world.waitList, world.waitList[0]);
            fake.calls.clear();
            arm();
            const std::string outcome = Outcome(GetParam().run(world));
            host->allocations.FailNone();
            look(outcome);
            fake.intercept = nullptr;
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
        if (!GetParam().buildsAgain) return {code};
        if (function == "clGetKernelWorkGroupInfo") return {"OK", code};
        const Allowed building = {"clCreateProgramWithSource", "clBuildProgram", "clCreateKernel"};
        return {building.contains(function) ? "OK" : code};
    }
};

TEST_P(FaultTest, EveryFailingCallIsReportedAndLeavesNothing) {
    const struct {
        bool isTraced;
        std::string code;  ///< that is to come back
        cl_int (*fail)();  ///< an exception is thrown by the runtime
    } kinds[] = {{false, "CL_OUT_OF_RESOURCES", [] { return CL_OUT_OF_RESOURCES; }},
                 {true, "CL_OUT_OF_RESOURCES", [] { return CL_OUT_OF_RESOURCES; }},
                 {false, "CL_OUT_OF_HOST_MEMORY", []() -> cl_int { throw std::bad_alloc(); }},
                 {true, "UNSPECIFIED", []() -> cl_int { throw 7; }}};
    for (const auto& kind : kinds) {
        g_trace.isOffered = g_trace.isCapturing = kind.isTraced;
        size_t count = 0;
        Run([] {}, [&](const std::string&) { count = fake.calls.size(); });
        ASSERT_GT(count, 0U);
        for (size_t failing = 0; failing < count; failing++) {
            const auto arm = [&] {
                fake.intercept = [&](const fake::Call&) {
                    return fake.calls.size() == failing + 1 ? kind.fail() : CL_SUCCESS;
                };
            };
            const auto look = [&](const std::string& outcome) {
                const std::string function = fake.calls.at(failing).name;
                EXPECT_TRUE(OutcomesAfter(function, kind.code).contains(outcome))
                    << function << " gave " << outcome;
                // Nothing but queries, for what a failure tells, and releases.
                for (size_t i = failing + 1; outcome == kind.code && i < fake.calls.size(); i++) {
                    const std::string& name = fake.calls[i].name;
                    EXPECT_TRUE(name.starts_with("clRelease") || name.starts_with("clGet")) << name;
                }
            };
            Run(arm, look);
            ASSERT_FALSE(HasFailure()) << "call " << failing;
        }
    }
}

TEST_P(FaultTest, EveryFailingAllocationIsReportedAndLeavesNothing) {
    Int count = 0;
    Run([&] { count = -host->allocations.GetCount(); },
        [&](const std::string&) { count += host->allocations.GetCount(); });
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
    const std::map<std::string, std::string> redirects = {{"libOpenCL.so.1", FakeLibrary()},
                                                          {"opencl.dll", FakeLibrary()}};
    for (const bool ofCalls : {false, true}) {
        bool isComplete = false;
        for (Int distance = 0; !isComplete; distance++) {
            SCOPED_TRACE((ofCalls ? "call " : "allocation ") + std::to_string(distance));
            fake.Reset();
            g_trace = {.isOffered = true};
            TestHost failing(redirects);
            if (ofCalls)
                fake.Fail("", CL_OUT_OF_RESOURCES, static_cast<int>(distance) + 1);
            else
                failing.allocations.FailFrom(distance);
            const Result<void> started = failing.Start({OPENCL_MODULE_FILE});
            const auto calls = static_cast<Int>(fake.calls.size());
            isComplete = (ofCalls ? calls : failing.allocations.GetCount()) <= distance;
            failing.allocations.FailNone();
            fake.FailNothing();
            g_trace.events.clear();
            if (!started.IsOk()) {
                EXPECT_EQ(ofCalls ? "OK" : kOutOfMemory, ErrorClass(started)) << ErrorText(started);
            } else if (OpenCL::IsAvailable()) {
                EXPECT_TRUE(!ofCalls || g_trace.events.size() == 2)
                    << "the tracer is used whatever its start met";
            } else {
                EXPECT_TRUE(!ofCalls && failing.diagnostics.size() == 1);
            }
            EXPECT_EQ(failing.host.Shutdown(), Texts());
            ASSERT_FALSE(HasFailure());
        }
    }
    g_trace = {};
}

}  // namespace
}  // namespace nuvra::test
