#include <set>

#include "task_cases.h"
#include "tracer.h"

namespace nuvra::test {
namespace {

using Allowed = std::set<std::string>;

/// What the steps of a scenario work with.
struct World : Objects {
    cl_platform_id platform;
    BaseArray<cl_device_id> ids;
    BaseArray<OpenCLDeviceRef> devices;
    OpenGLContextRef gl;
    OpenCLMemoryObjectRef image;
    OpenCLKernelRef tail;
    std::vector<OpenCLEventRef> waited =
        std::vector<OpenCLEventRef>(40);  ///< longer than what needs no memory
    std::vector<OpenCLMemoryObjectRef> buffers = std::vector<OpenCLMemoryObjectRef>(20);  ///< the same
    // What a step makes for those after it.
    BaseArray<OpenCLPlatformRef> platforms{};
    OpenCLDeviceRef device{};
    OpenCLContextRef ownContext{};
    OpenCLProgramRef ownProgram{};
    OpenCLEventRef event{};
    BaseArray<OpenCLImageFormat> formats{};
    BaseArray<UChar> binary{};
    std::byte bytes[64] = {};
    size_t pitch = 0;
};
constexpr size_t kBox[] = {1, 1, 1};
constexpr size_t kLimits[] = {4, 2, 2};
constexpr Int32 kNumber = 1;
constexpr const char* kSource = "kernel void Main() {}";
const Vector32 kVectors[6]{};

template <class T>
Result<void> Keep(T& kept, Result<T> made) {
    NUVRA_ASSIGN_OR_RETURN(kept, std::move(made));
    return {};
}

/// Runs the tasks whose names begin so, on a queue out of order, where each kernel that needs another waits.
Result<void> RunTasks(World& world, std::string_view begin) {
    OpenCLMemoryObjectRef memory[4];
    UInt32 total = 0;
    NUVRA_ASSIGN_OR_RETURN(const OpenCLContextRef context, OpenCL::CreateContext(world.platform, world.ids));
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

struct Scenario {
    const char* name;
    std::vector<ErrorRef (*)(World&)> steps;  ///< up to the first that fails
    Allowed whenOutOfMemory{};                ///< outcomes beside the out-of-memory error
    bool buildsAgain = false;                 ///< with another group size after a build that failed

    std::string Run(World& world) const {
        for (const auto& step : steps)
            if (const ErrorRef error = step(world)) return Describe(error);
        return "OK";
    }
    friend void PrintTo(const Scenario& scenario, std::ostream* stream) { *stream << scenario.name; }
};
#define STEP(operation) [](World& w) { return (operation).GetError(); }
#define WAIT 1, &w.event, &w.event
#define WAIT_LONG 40, w.waited.data(), &w.event

const Scenario kScenarios[] = {
    // A device's texts and sizes may be missing; a missing version does not parse.
    {"ListDevices",
     {STEP(OpenCL::GetPlatforms(w.platforms)), STEP(w.platforms[0].GetInfo(OpenCLPlatformInfo::EXTENSIONS)),
      STEP(w.platforms[0].GetDevices(w.devices)), STEP(Keep(w.device, OpenCL::GetDeviceFromId(w.ids[0]))),
      STEP(w.device.GetInfo(OpenCLDeviceInfo::EXTENSIONS)),
      STEP(w.device.GetInfo(OpenCLDeviceInfo::MAX_WORK_ITEM_SIZES))},
     {"OK", "UNSPECIFIED"}},
    {"ShareContext",
     {STEP(OpenCL::CreateGLSharedContext(w.gl, w.platform)),
      STEP(OpenCL::CreateGLSharedContextForDevices(w.gl, w.devices))},
     {"OK", "UNSPECIFIED", "EXTENSION_NOT_SUPPORTED"}},
    {"Create",
     {STEP(Keep(w.ownContext, OpenCL::CreateContext(w.platform, w.ids))),
      STEP(w.ownContext.CreateCommandQueue()), STEP(w.context.CreateBuffer(1, 16)),
      STEP(w.context.CreateImage2D(1, {}, 4, 4)), STEP(w.context.CreateImage3D(1, {}, 4, 4, 4)),
      STEP(w.context.CreateFromGLTexture2D(1, 3553, 0, 1)), STEP(w.context.CreateFromGLBuffer(1, 1)),
      STEP(w.context.GetSupportedImageFormats(1, OpenCLImageType::IMAGE2D, w.formats))}},
    {"MakeProgram",
     {STEP(Keep(w.ownProgram, w.context.CreateProgramWithSource(1, &kSource))),
      STEP(w.ownProgram.Build(w.ids, nullptr)), STEP(w.ownProgram.GetBuildLog(w.ids[0])),
      STEP(w.ownProgram.CreateKernel("Main")), STEP(w.ownProgram.GetBinary(w.binary)),
      STEP(w.context.CreateProgramWithBinary(w.devices[0], w.binary))},
     {"OK"}},  // the log then is a text about it
    {"Launch",
     {STEP(w.kernel.SetArg(0, w.buffer)), STEP(w.kernel.SetArg(1, &kNumber, 1)),
      STEP(w.kernel.SetArg(2, kVectors, 6)), STEP(w.kernel.SetArgLocalMemory(3, 8)),
      STEP(w.kernel.GetWorkGroupInfo(w.devices[0], 0, sizeof(w.pitch), &w.pitch)),
      STEP(w.queue.EnqueueNDRangeKernel(w.kernel, 1, nullptr, kLimits, nullptr, WAIT_LONG)),
      STEP(w.queue.EnqueueRange(w.kernel, kLimits, 1, 23, WAIT)),
      STEP(w.queue.EnqueueGroupedRange(w.kernel, 4, w.tail, kLimits, 0, 23, WAIT)),
      STEP(w.queue.EnqueueGroupedRange(w.kernel, 4, w.tail, nullptr, 0, 23, WAIT)),
      STEP(w.queue.WaitForEvents(40, w.waited.data())), STEP(w.queue.WaitForEvents(1, &w.event)),
      STEP(w.queue.Finish())}},
    {"Transfer",
     {STEP(w.queue.EnqueueWriteBuffer(w.buffer, true, 0, 8, w.bytes, WAIT_LONG)),
      STEP(w.queue.EnqueueReadBuffer(w.buffer, true, 0, 8, w.bytes, WAIT)),
      STEP(w.queue.EnqueueMapBuffer(w.buffer, true, 1, 0, 8, WAIT)),
      STEP(w.queue.EnqueueUnmapMemObject(w.buffer, w.bytes, WAIT)),
      STEP(w.queue.EnqueueWriteImage(w.image, true, kBox, kBox, 0, 0, w.bytes, WAIT_LONG)),
      STEP(w.queue.EnqueueReadImage(w.image, true, kBox, kBox, 0, 0, w.bytes, WAIT)),
      STEP(w.queue.EnqueueMapImage(w.image, true, 1, kBox, kBox, &w.pitch, &w.pitch, WAIT)),
      STEP(w.queue.EnqueueAcquireGLObjects(20, w.buffers.data(), WAIT)),
      STEP(w.queue.EnqueueReleaseGLObjects(20, w.buffers.data(), WAIT))}},
    {"ClearAndCheck", {STEP(RunTasks(w, "c"))}, {"OK", "UNSPECIFIED"}},
    {"Pictures", {STEP(RunTasks(w, "image"))}, {"UNSPECIFIED"}},
    {"PrefixSum", {STEP(RunTasks(w, "prefixsum"))}, {"OK", "UNSPECIFIED"}, true},
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
            const OpenCLDeviceRef first = OpenCL::GetDeviceFromId(Devices()[0]).GetValue();
            World world{cl,
                        Platform(),
                        Devices(),
                        MakeArray({first}),
                        MakeGLContext(),
                        cl.context.CreateImage2D(1, {}, 8, 8).GetValue(),
                        cl.program.CreateKernel("Tail").GetValue()};
            std::ranges::fill(world.buffers, cl.buffer);
            ASSERT_TRUE(IsOk(cl.queue.EnqueueNDRangeKernel(cl.kernel, 1, nullptr, kBox, nullptr, 0, nullptr,
                                                           &world.event)));
            std::ranges::fill(world.waited, world.event);
            fake.calls.clear();
            arm();
            const std::string outcome = GetParam().Run(world);
            host->allocations.FailNone();
            look(outcome);
            fake.intercept = nullptr;
            EXPECT_EQ(GetParam().Run(world), "OK") << "tried again";
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
    g_trace = {.isOffered = true};
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

}  // namespace
}  // namespace nuvra::test
