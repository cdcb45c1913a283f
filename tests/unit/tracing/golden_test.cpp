#include <fstream>
#include <limits>

#include "nuvra/open_cl_task.h"
#include "nuvra/opencl_interface_trace.h"
#include "tracing_fixture.h"

namespace nuvra::test {
namespace {

/// A step that is seen in the log by its calls, and by its outcome when that is a failure.
#define STEP(operation) \
    Step(               \
        #operation, [&] { return operation; }, false)

/// A scenario of steps, whose log of calls is compared with a file of golden/.
class GoldenTest : public TracingTest {
protected:
    void SetUp() override {
        fake::Info& info = fake.platforms[0]->devices[0]->info;
        info[CL_DEVICE_MAX_WORK_GROUP_SIZE] = fake::NumberBytes<size_t>({256});
        info[CL_DEVICE_LOCAL_MEM_SIZE] = fake::NumberBytes<cl_ulong>({32768});
        StartTraced();
        bufferSize = UInt64{1} << 35;
        MakeObjects();
        image = MakeImage(40, 30);
        smaller = MakeImage(32, 24);
        TakeLog();
    }
    void TearDown() override {
        task = {};
        image = smaller = nullptr;
        event = second = nullptr;
        TracingTest::TearDown();
    }
    OpenCLMemoryObjectRef MakeImage(size_t width, size_t height) {
        return cl.context.CreateImage2D(1, {}, width, height).GetValue();
    }

    template <class Operation>
    void Step(const std::string& title, const Operation& operation, bool isTitled = true) {
        AppendCalls();
        const std::string outcome = Outcome(operation());
        if (isTitled || outcome != "OK") AppendLine("# " + title + ": " + outcome);
        AppendCalls();
    }
    void AppendCalls() {
        for (std::string& line : TakeLog()) {
            if (!isComplete && line.starts_with("clGet") && line.find("GLContext") == line.npos) continue;
            for (const std::string_view usual :
                 {"result=CL_SUCCESS, ", " -> result=CL_SUCCESS", " -> event=null", ", event=null",
                  ", num_events_in_wait_list=0, event_wait_list=null", ", errcode_ret=ptr",
                  ", host_ptr=null"})
                if (const size_t at = line.find(usual); !isComplete && at != line.npos)
                    line.erase(at, usual.size());
            Append(line);
        }
    }
    void AppendLine(const std::string& line) {
        text += line + '\n';
        latest.clear();
    }
    /// Calls of one function in a row share a line, with what differs from the call before.
    void Append(const std::string& line) {
        Texts parts(1);
        int depth = 0;
        for (const char c : line) {
            depth += (c == '[' || c == '{') - (c == ']' || c == '}');
            if (depth == 0 && (c == '(' || c == ',' || c == ')'))
                parts.emplace_back();
            else
                parts.back() += c;
        }
        std::string differing;
        if (parts.size() == latest.size() && parts[0] == latest[0])
            for (size_t i = 1; i < parts.size(); i++)
                if (parts[i] != latest[i]) differing += (differing.empty() ? "" : ",") + parts[i];
        const size_t lastLine = text.rfind('\n', text.size() - 2) + 1;
        if (differing.empty() || text.size() - lastLine + differing.size() > kLineLimit)
            AppendLine(line);
        else
            text.insert(text.size() - 1, " |" + std::string(differing[0] == ' ' ? "" : " ") + differing);
        latest = parts;
    }
    void GetTask(const char* key) {
        Step(key, [&] {
            const Result<OpenCLTaskRef> result = cl.context.GetTask(MakeText(key));
            task = result.GetValue();
            return result;
        });
    }
    template <class Record>
    void Execute(const std::string& title, const Record& record, const OpenCLCommandQueueRef& onQueue = {}) {
        Step(title, [&] { return task.Execute(cl.context, onQueue ? onQueue : cl.queue, &record); });
    }
    void FreeTask() { STEP(task.FreeResources(cl.context)); }

    /// With NUVRA_REWRITE_GOLDEN in the environment, writes the file in place of comparing.
    void ExpectGolden(const std::string& name) {
        AppendCalls();
        const std::filesystem::path file = std::filesystem::path(GOLDEN_FOLDER) / (name + ".log");
        if (std::getenv("NUVRA_REWRITE_GOLDEN") != nullptr) std::ofstream(file, std::ios::binary) << text;
        std::istringstream expected(ReadText(file));
        std::istringstream got(text);
        std::string one;
        std::string other;
        for (int number = 1; std::getline(expected, one); number++) {
            ASSERT_TRUE(std::getline(got, other)) << file << " ends at " << number;
            ASSERT_EQ(other, one) << file << ':' << number;
        }
        EXPECT_FALSE(std::getline(got, other)) << other;
    }

    static constexpr size_t kLineLimit = 350;
    /// Without it, a log has no queries, of which each property of a device has several, and no usual values.
    bool isComplete = false;
    std::string text;
    Texts latest;  ///< the parts of the call at the end of the text
    OpenCLTaskRef task;
    OpenCLMemoryObjectRef image;    ///< image#1, 40 by 30
    OpenCLMemoryObjectRef smaller;  ///< image#2, 32 by 24
    OpenCLEventRef event;
    OpenCLEventRef second;
};

TEST_F(GoldenTest, ClearMemory) {
    GetTask("clearmem");
    for (const auto& [size, value] : std::vector<std::pair<Int64, UChar>>{
             {35, 0}, {15, 0}, {0, 0xAB}, {-17, 0}, {Int64{16} << 27, 0}, {33, 0xAB}}) {
        const ClearMemParameters record{1, &cl.buffer, size, value};
        Execute(std::to_string(size) + " bytes of " + std::to_string(value), record);
    }
    EXPECT_EQ(fake.TextsOf("clSetKernelArg").back(), "kernel5, 1, 1, ab") << "which no event tells";
    FreeTask();
    // Limits that are missing count as one, and without any limits a range is one launch.
    fake::Info& info = fake.platforms[0]->devices[0]->info;
    for (const cl_uint count : {2U, 0U}) {
        info[CL_DEVICE_MAX_WORK_ITEM_DIMENSIONS] = fake::NumberBytes<cl_uint>({count});
        info[CL_DEVICE_MAX_WORK_ITEM_SIZES] = fake::NumberBytes<size_t>({4, 0});
        ASSERT_EQ(Outcome(task.Init(cl.context)), "OK");
        TakeLog();
        const ClearMemParameters record{1, &cl.buffer, 160, 0};
        Execute("160 bytes under " + std::to_string(count) + " limits", record);
    }
    ExpectGolden("clearmem");
}

TEST_F(GoldenTest, Checksum) {
    const OpenCLMemoryObjectRef output = cl.context.CreateBuffer(1, 4).GetValue();
    const OpenCLCommandQueueRef unordered =
        cl.context.CreateCommandQueue(OpenCLQueueFlags::OUT_OF_ORDER_EXEC_MODE).GetValue();
    TakeLog();
    GetTask("crc32c");
    Execute("start", Crc32cParameters{1, &cl.buffer, &output, 65535, true});
    Execute("go on with a negative size", Crc32cParameters{1, &cl.buffer, &output, -1, false});
    Execute("parts", Crc32cParameters{1, &cl.buffer, &output, 65537, true});
    Execute("the most parts, out of order", Crc32cParameters{1, &cl.buffer, &output, INT32_MAX, false},
            unordered);
    FreeTask();
    ExpectGolden("crc32c");
}

TEST_F(GoldenTest, TasksOfOneKernel) {
    const OpenCLMemoryObjectRef large = MakeImage(1034, 2048);
    TakeLog();
    GetTask("image.invert");
    Execute("a rectangle", InvertImageParameters{1, &image, &smaller, 10, 20, 5, 4});
    FreeTask();
    GetTask("image.gamma");
    Execute("a rectangle", GammaImageParameters{1, &image, &smaller, 10, 20, 5, 4, 2.2});
    FreeTask();
    GetTask("image.stereo.sbs");
    Execute("a rectangle", StereoSbsParameters{1, &image, &image, &smaller, 2, 3, 30, 21});
    FreeTask();
    GetTask("image.scalenearest");
    Execute("mirrored", ScaleParameters{1, &image, &smaller, 5, 6, 10, 9, 30, 2, -20, 18});
    Execute("tiles", ScaleParameters{1, &image, &large, 0, 0, 25, 10, 0, 0, 1034, 2048});
    FreeTask();
    ExpectGolden("one_kernel");
}

TEST_F(GoldenTest, BicubicScaling) {
    const OpenCLMemoryObjectRef large = MakeImage(2048, 1034);
    const OpenCLCommandQueueRef unordered =
        cl.context.CreateCommandQueue(OpenCLQueueFlags::OUT_OF_ORDER_EXEC_MODE).GetValue();
    TakeLog();
    GetTask("image.scalebicubic");
    Execute("tiles", ScaleParameters{1, &image, &large, 0, 0, 25, 10, 0, 0, 2048, 1034});
    Execute("mirrored", ScaleParameters{1, &image, &smaller, 5, 6, 10, 9, 30, 2, -20, 18});
    Execute("many taps", ScaleParameters{1, &image, &smaller, 0, 0, 40, 600000, 0, 0, 2, 1});
    Execute("out of order", ScaleParameters{1, &image, &smaller, 0, 0, 8, 8, 0, 0, 16, 16}, unordered);
    FreeTask();
    ExpectGolden("bicubic");
}

TEST_F(GoldenTest, PrefixSum) {
    const OpenCLMemoryObjectRef output = cl.context.CreateBuffer(1, bufferSize).GetValue();
    const OpenCLCommandQueueRef next = cl.context.CreateCommandQueue().GetValue();
    const OpenCLCommandQueueRef unordered =
        cl.context.CreateCommandQueue(OpenCLQueueFlags::OUT_OF_ORDER_EXEC_MODE).GetValue();
    TakeLog();
    GetTask("prefixsum");
    const std::tuple<Int64, Int64, bool, bool> cases[] = {
        {1024, 16384, false, true},
        {2, 16384, true, true},
        {(1 << 28) + 1, 1 << 29, false, false},
    };
    for (const auto& [count, padded, merges, wantsTotal] : cases) {
        UInt32 total = 0;
        Execute(std::to_string(count) + " in " + std::to_string(padded) + (merges ? ", merged" : ""),
                PrefixSumParameters{1, &cl.buffer, &output, padded, count, merges,
                                    wantsTotal ? &total : nullptr});
        EXPECT_EQ(total, wantsTotal ? 0xEEEEEEEEU * 2 : 0) << count;
    }
    Execute("on another queue", PrefixSumParameters{1, &cl.buffer, &output, 16384, 5, false}, next);
    const PrefixSumParameters record{1, &cl.buffer, &output, 16384, 5, true};
    Execute("out of order, merged", record, unordered);
    ASSERT_EQ(Outcome(unordered.Release()), "OK");
    Execute("after the queue's end", record);
    FreeTask();
    fake::Info& info = fake.platforms[0]->devices[0]->info;
    info[CL_DEVICE_TYPE] = fake::NumberBytes<cl_device_type>({CL_DEVICE_TYPE_CPU});
    for (const cl_uint cores : {2U, 3U}) {
        info[CL_DEVICE_MAX_COMPUTE_UNITS] = fake::NumberBytes<cl_uint>({cores});
        ASSERT_EQ(Outcome(task.Init(cl.context)), "OK");
        TakeLog();
        Execute("strips of " + std::to_string(cores) + " cores",
                PrefixSumParameters{1, &cl.buffer, &output, 1 << 29, (1 << 28) + 1, cores == 2});
    }
    ExpectGolden("prefixsum");
}

TEST_F(GoldenTest, Launches) {
    const OpenCLCommandQueueRef& queue = cl.queue;
    const OpenCLKernelRef& kernel = cl.kernel;
    const OpenCLKernelRef tail = cl.program.CreateKernel("Tail").GetValue();
    TakeLog();
    const size_t offset[] = {1, 2};
    const size_t global[] = {8, 6};
    const size_t local[] = {4, 3};
    const size_t limits[] = {4, 2, 2};
    const size_t grouped[] = {8, 2, 2};
    constexpr size_t kHuge = size_t{1} << 40;
    const size_t huge[] = {kHuge, kHuge, 1};
    STEP(queue.EnqueueNDRangeKernel(kernel, 2, offset, global, local, 0, nullptr, &event));
    STEP(queue.EnqueueNDRangeKernel(kernel, 2, nullptr, global, nullptr));
    STEP(queue.EnqueueNDRangeKernel(kernel, 70, nullptr, grouped, grouped));
    const auto range = [&](const char* title, const size_t* most, size_t first, size_t count, Int waits = 1,
                           OpenCLEventRef* slot = nullptr) {
        Step(title, [&] { return queue.EnqueueRange(kernel, most, first, count, waits, &event, slot); });
    };
    range("no limits", nullptr, 7, 37, 1, &second);
    range("no limits and no items", nullptr, 7, 0);
    range("slabs, rows and a rest", limits, 10, 37);
    range("limits beyond any count", huge, 0, kHuge + 5, 0);
    range("nothing to wait for", limits, 10, 0, 0);
    range("an empty range waits", limits, 10, 0, 1, &second);
    STEP(queue.WaitForEvents(1, &second));
    const auto groups = [&](const char* title, size_t size, const size_t* most, size_t first, size_t count) {
        Step(title, [&] {
            return queue.EnqueueGroupedRange(kernel, size, tail, most, first, count, 1, &event, &second);
        });
    };
    groups("groups and a tail", 64, nullptr, 100, 200);
    groups("only a tail", 64, nullptr, 3, 50);
    groups("only groups", 64, nullptr, 3, 128);
    groups("groups under limits", 4, grouped, 0, 45);
    fake.Fail("clWaitForEvents", CL_OUT_OF_RESOURCES);
    for (const size_t* most : {limits, static_cast<const size_t*>(nullptr)})
        groups("no items, and the wait fails", 4, most, 10, 0);
    fake.Fail("clEnqueueNDRangeKernel", CL_OUT_OF_RESOURCES, 2);
    fake.Fail("clEnqueueNDRangeKernel", CL_OUT_OF_RESOURCES, 2);
    range("the second fails", limits, 0, 37, 0, &second);
    groups("the first fails", 64, nullptr, 0, 70);
    fake.FailNothing();
    const OpenCLEventRef mixed[] = {{}, event, {}, event};
    const OpenCLEventRef nothing[3];
    STEP(queue.EnqueueNDRangeKernel(kernel, 1, nullptr, global, nullptr, 4, mixed, &event));
    for (const Int count : {3, -1})
        STEP(queue.EnqueueNDRangeKernel(kernel, 1, nullptr, global, nullptr, count, nothing));
    range("the event that it waits for", limits, 0, 5, 1, &event);
    STEP(queue.WaitForEvents(3, nothing));
    ExpectGolden("launches");
}

/// Each function of OpenCL that is called, with the values of its arguments by name.
class CallsTest : public GoldenTest {
protected:
    CallsTest() {
        fake::Info& info = fake.platforms[0]->devices[0]->info;
        info[CL_DEVICE_QUEUE_PROPERTIES] = fake::NumberBytes<cl_ulong>({0xFF});
        info[CL_DEVICE_COMPILER_AVAILABLE] = fake::NumberBytes<cl_bool>({0});
        isSharing = isComplete = true;
    }
    /// What an object answers to every question, with the types; handles by their names.
    template <class Ask>
    void Answers(std::string line, const Ask& ask) {
        for (UInt32 which = 0; which < 110; which++) {
            const Data data = ask(which);
            if (data.IsEmpty()) continue;
            const std::string type = data.GetType()->id.GetText();
            const Int64* number = data.Find<Int64>();
            const void* handle = number != nullptr ? reinterpret_cast<const void*>(*number) : nullptr;
            line += "; " + std::to_string(which) + type.substr(type.rfind('.')) + ' ' +
                    (fake.Find(handle) != nullptr ? fake.NameOf(handle) : ToText(data));
        }
        AppendLine("# " + line);
    }
};

TEST_F(CallsTest, EveryFunctionsValuesAreInWords) {
    using Flags = OpenCLMemoryFlags;
    const OpenCLContextRef& context = cl.context;
    const OpenCLCommandQueueRef& queue = cl.queue;
    const OpenCLProgramRef& program = cl.program;
    const OpenCLKernelRef& kernel = cl.kernel;
    const OpenCLMemoryObjectRef& buffer = cl.buffer;
    BaseArray<OpenCLPlatformRef> platforms;
    BaseArray<OpenCLDeviceRef> found;
    std::byte bytes[64] = {};
    STEP(OpenCL::GetPlatforms(platforms));
    Answers("platform", [&](UInt32 which) { return platforms[0].GetInfo(which).GetValue(); });
    STEP(platforms[0].GetDevices(found));
    Answers("device", [&](UInt32 which) { return found[0].GetInfo(which).GetValue(); });
    STEP(OpenCL::GetDeviceFromId(nullptr));

    fake.AddDevice(*fake.platforms[0], "Second");
    const auto swapped = MakeArray<cl_device_id>({Devices()[1], Devices()[0]});
    const OpenCLContextRef two = OpenCL::CreateContext(Platform(), swapped).GetValue();
    STEP(OpenCL::CreateContext(Platform(), {}));
    STEP(two.CreateCommandQueue(0xFFFFFFFF));
    std::vector<OpenCLMemoryObjectRef> memory;
    for (const UInt32 flags :
         {UInt32{0}, Flags::READ_ONLY | Flags::ALLOC_HOST_PTR, Flags::READ_WRITE | Flags::COPY_HOST_PTR,
          Flags::WRITE_ONLY | Flags::USE_HOST_PTR, 0xFFFFFFC1}) {
        const bool hasHost = (flags & (Flags::USE_HOST_PTR | Flags::COPY_HOST_PTR)) != 0;
        memory.push_back(context.CreateBuffer(flags, 16, hasHost ? bytes : nullptr).GetValue());
    }
    const OpenCLImageFormat format{OpenCLChannelOrder::BGRA, OpenCLChannelDataType::UNORM_INT8};
    const UInt32 access = Flags::READ_ONLY | Flags::ALLOC_HOST_PTR | Flags::COPY_HOST_PTR;
    memory.push_back(context.CreateImage2D(access, format, 5, 3, 0).GetValue());
    STEP(context.CreateImage2D(1, format, 5, 3, 20, bytes));
    memory.push_back(context.CreateImage3D(Flags::WRITE_ONLY, format, 8, 4, 2).GetValue());
    memory.push_back(context.CreateFromGLTexture2D(Flags::READ_ONLY, 3553, 2, 9).GetValue());
    memory.push_back(context.CreateFromGLBuffer(Flags::WRITE_ONLY, 9).GetValue());
    Answers("image", [&](UInt32 which) { return memory[6].GetImageInfo(which); });
    Answers("buffer", [&](UInt32 which) { return memory[0].GetImageInfo(which); });

    const char* sources[] = {"kernel void Main() {}", "abc"};
    const size_t lengths[] = {0, 2};
    BaseArray<UChar> binary;
    fake.binary = {1, 2};
    STEP(context.CreateProgramWithSource(2, sources, lengths));
    STEP(context.CreateProgramWithSource(2, nullptr));
    STEP(context.CreateProgramWithSource(0, nullptr));
    STEP(context.CreateProgramWithBinary(found[0], MakeArray<UChar>({1, 2})));
    STEP(context.CreateProgramWithBinary(found[0], {}));
    STEP(context.CreateProgramWithBinary({}, MakeArray<UChar>({1, 2})));
    STEP(program.Build(two.GetDevices(), "-w"));
    STEP(program.Build({}, nullptr));
    STEP(program.Build(MakeArray<cl_device_id>({Devices()[0], nullptr}), nullptr));
    STEP(program.GetBuildLog(Devices()[0]));
    STEP(program.GetBinary(binary));
    STEP(program.CreateKernel("Tail"));

    const size_t origin[] = {1, 2, 1};
    const size_t region[] = {8, 6, 1};
    size_t row = 0;
    size_t slice = 0;
    const size_t one = 1;
    STEP(queue.EnqueueNDRangeKernel(kernel, 1, nullptr, &one, nullptr, 0, nullptr, &event));
    STEP(queue.WaitForEvents(1, &event));
    STEP(queue.Finish());
    STEP(queue.EnqueueMapBuffer(buffer, true, 3, 4, 8, 0, nullptr, &second));
    STEP(queue.EnqueueMapImage(image, false, 2, origin, region, &row, &slice, 1, &event));
    STEP(queue.EnqueueUnmapMemObject(buffer, bytes, 1, &event));
    STEP(queue.EnqueueReadBuffer(buffer, true, 4, 8, bytes, 1, &event));
    STEP(queue.EnqueueWriteBuffer(buffer, false, 4, 8, bytes));
    STEP(queue.EnqueueReadImage(image, true, origin, region, 5, 6, bytes));
    STEP(queue.EnqueueWriteImage(image, false, origin, region, 7, 8, bytes));
    const std::vector<OpenCLMemoryObjectRef> many(20, buffer);
    STEP(queue.EnqueueAcquireGLObjects(20, many.data()));
    for (const Int none : {0, -3}) STEP(queue.EnqueueReleaseGLObjects(none, nullptr, 1, &event, &event));
    second = {};
    for (const char* name : {"clCreateBuffer", "clEnqueueMapBuffer", "clGetPlatformIDs"})
        fake.Fail(name, CL_OUT_OF_RESOURCES);
    STEP(context.CreateBuffer(1, 8));
    STEP(queue.EnqueueMapBuffer(buffer, true, 1, 0, 8, 0, nullptr, &event));
    STEP(OpenCL::GetPlatforms(platforms));
    fake.FailNothing();

    const Int32 ints[] = {3, -4};
    const UInt32 uints[] = {3, 0xFFFFFFFF};
    const Float32 floats[] = {1.5F, std::numeric_limits<Float32>::quiet_NaN()};
    const Float64 doubles[] = {0.1, -std::numeric_limits<Float64>::infinity()};
    const Char chars[2] = {};
    const std::vector<Vector32> vectors(6, Vector32{1, 2, 3});
    size_t sizes[3] = {};
    for (const UInt32 which : {0U, 1U, 2U, 3U, 4U, 7U})
        STEP(kernel.GetWorkGroupInfo(found[0], which, 24, sizes));
    STEP(kernel.GetWorkGroupInfo(found[0], 1, 8, sizes));
    STEP(kernel.SetArg(0, buffer));
    STEP(kernel.SetArgLocalMemory(1, 64));
    STEP(kernel.SetArg(2, ints, 2));
    STEP(kernel.SetArg(2, static_cast<const Int32*>(nullptr), 2));
    STEP(kernel.SetArg(0, uints, 2));
    STEP(kernel.SetArg(0, floats, 2));
    STEP(kernel.SetArg(0, doubles, 2));
    for (const Int count : {0, 1, 5, 6}) STEP(kernel.SetArg(0, vectors.data(), count));
    STEP(kernel.SetArg(0, chars, 2));  // before arguments of 8 and 16 bits no event comes

    const OpenGLContextRef gl = MakeGLContext();
    fake::Object& sharer = fake.AddDevice(*fake.platforms[0], "Sharer");
    sharer.info[CL_DEVICE_EXTENSIONS] = fake::TextBytes("cl_khr_gl_sharing");
    sharer.info[CL_DEVICE_TYPE] = fake::NumberBytes<cl_device_type>({CL_DEVICE_TYPE_GPU});
    fake.sharingDevices = {fake.platforms[0]->devices[0], &sharer};
    isComplete = false;
    STEP(OpenCL::CreateGLSharedContext(gl, Platform()));
    fake.Fail("clGetGLContextInfoKHR", CL_INVALID_OPERATION);
    STEP(OpenCL::CreateGLSharedContext(gl, Platform()));
    fake.FailNothing();
    isComplete = true;

    BaseArray<OpenCLImageFormat> formats;
    STEP(context.GetSupportedImageFormats(1, {}, formats));  // untraced
    STEP(kernel.Release());
    STEP(program.Release());
    STEP(buffer.Release());
    STEP(queue.Release());
    cl.context = {};
    ExpectGolden("calls");
    const auto expectSeen = [&](const std::string& name, bool isTraced) {
        EXPECT_EQ(text.find('\n' + name + '(') != text.npos, isTraced) << name;
    };
#define OPENCL_FUNCTION(presence, name, effect, before, after) \
    expectSeen(#name, !entry::name::kBefore.empty());
#include "nuvra/opencl_functions.def"
}

}  // namespace
}  // namespace nuvra::test
