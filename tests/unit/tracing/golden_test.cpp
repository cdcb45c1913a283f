#include <fstream>
#include <limits>
#include <regex>

#include "gl_context.h"
#include "nuvra/open_cl_task.h"
#include "nuvra/opencl_interface_trace.h"
#include "tracing_fixture.h"

namespace nuvra::test {
namespace {

#define STEP(operation) Step(#operation, [&] { return operation; })

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
        tail = cl.program.CreateKernel("Tail").GetValue();
        image = MakeImage(40, 30);
        smaller = MakeImage(32, 24);
        TakeLog();
    }
    void TearDown() override {
        tail = nullptr;
        task = {};
        image = smaller = output = nullptr;
        event = second = nullptr;
        TracingTest::TearDown();
    }
    OpenCLMemoryObjectRef MakeImage(size_t width, size_t height) {
        return cl.context.CreateImage2D(1, {}, width, height).GetValue();
    }

    /// Appends what an operation calls and how it ends. Queries are left out of the tasks' logs: every
    /// property of a device has several.
    template <class Operation>
    void Step(const std::string& title, const Operation& operation, bool withQueries = true) {
        std::string outcome;
        if constexpr (std::is_void_v<decltype(operation())>)
            operation();
        else
            outcome = ": " + Outcome(operation());
        text += "# " + title + outcome + '\n';
        for (const std::string& line : TakeLog())
            if (withQueries || !IsQuery(line)) Append(line);
    }
    static bool IsQuery(const std::string& line) {
        return line.starts_with("clGet") && line.find("GLContext") == line.npos;
    }
    /// Arguments that a kernel is given one after the other share a line.
    void Append(const std::string& line) {
        static const std::regex kArgument(
            "(clSetKernelArg\\(kernel=.*, arg)_index=([0-9]+), arg_size=([0-9]+), arg_type=(.*), "
            "arg_value=(.*)\\) -> result=CL_SUCCESS");
        std::smatch parts;
        if (!std::regex_match(line, parts, kArgument)) {
            text += line + '\n';
            return;
        }
        const std::string head = parts[1].str() + ')';
        const size_t last = text.rfind('\n', text.size() - 2) + 1;
        const bool goesOn = text.compare(last, head.size(), head) == 0;
        if (goesOn) text.pop_back();
        text += (goesOn ? "; " : head + " ") + parts[2].str() + ": " + parts[3].str() + ' ' + parts[4].str() +
                ' ' + parts[5].str() + '\n';
    }
    void GetTask(const char* key) {
        const auto get = [&] {
            const Result<OpenCLTaskRef> result = cl.context.GetTask(MakeText(key));
            task = result.GetValue();
            return result;
        };
        Step(key, get, false);
    }
    template <class Record>
    void Execute(const std::string& title, const Record& record, const OpenCLCommandQueueRef& queue) {
        Step(
            title, [&] { return task.Execute(cl.context, queue, &record); }, false);
    }
    template <class Record>
    void Execute(const std::string& title, const Record& record) {
        Execute(title, record, cl.queue);
    }
    void FreeTask() {
        Step(
            "free", [&] { return task.FreeResources(cl.context); }, false);
        text += '\n';
    }

    /// With NUVRA_REWRITE_GOLDEN in the environment, writes the file in place of comparing.
    void ExpectGolden(const std::string& name) {
        const std::filesystem::path file = std::filesystem::path(GOLDEN_FOLDER) / (name + ".log");
        if (std::getenv("NUVRA_REWRITE_GOLDEN") != nullptr) std::ofstream(file, std::ios::binary) << text;
        std::istringstream expected(ReadText(file));
        std::istringstream got(text);
        std::string title;
        for (int number = 1;; number++) {
            std::string one;
            std::string other;
            const bool hasOne = bool(std::getline(expected, one));
            const bool hasOther = bool(std::getline(got, other));
            if (!hasOne && !hasOther) return;
            if (other.starts_with('#')) title = other;
            ASSERT_EQ(other, one) << file << ':' << number << ", " << title;
            ASSERT_EQ(hasOther, hasOne) << file << ':' << number;
        }
    }

    std::string text;
    OpenCLTaskRef task;
    OpenCLKernelRef tail;
    OpenCLMemoryObjectRef image;    ///< image#1, 40 by 30
    OpenCLMemoryObjectRef smaller;  ///< image#2, 32 by 24
    OpenCLMemoryObjectRef output;
    OpenCLEventRef event;
    OpenCLEventRef second;
};

TEST_F(GoldenTest, ClearMemory) {
    GetTask("clearmem");
    for (const auto& [size, value] : std::vector<std::pair<Int64, UChar>>{
             {35, 0}, {48, 0}, {15, 0}, {32, 0xAB}, {0, 0xAB}, {-17, 0}, {Int64{16} << 27, 0}, {33, 0xAB}}) {
        const ClearMemParameters record{1, &cl.buffer, size, value};
        Execute(std::to_string(size) + " bytes of " + std::to_string(value), record);
    }
    EXPECT_EQ(fake.TextsOf("clSetKernelArg").back(), "kernel6, 1, 1, ab") << "which no event tells";
    FreeTask();
    // Limits that are missing count as one, and without any limits a range is one launch.
    for (const std::vector<size_t>& limits : {std::vector<size_t>{4, 0}, {}}) {
        fake::Info& info = fake.platforms[0]->devices[0]->info;
        info[CL_DEVICE_MAX_WORK_ITEM_DIMENSIONS] = fake::NumberBytes<cl_uint>({limits.empty() ? 0U : 4U});
        info[CL_DEVICE_MAX_WORK_ITEM_SIZES] = fake::NumberBytes<size_t>({4, 0});
        if (limits.empty()) info[CL_DEVICE_MAX_WORK_ITEM_SIZES].clear();
        ASSERT_EQ(Outcome(task.Init(cl.context)), "OK");
        TakeLog();
        Execute("160 bytes under " + std::to_string(limits.size()) + " limits",
                ClearMemParameters{1, &cl.buffer, 160, 0});
    }
    ExpectGolden("clearmem");
}

TEST_F(GoldenTest, Checksum) {
    output = cl.context.CreateBuffer(1, 4).GetValue();
    TakeLog();
    GetTask("crc32c");
    Execute("start", Crc32cParameters{1, &cl.buffer, &output, 9, true});
    Execute("go on", Crc32cParameters{1, &cl.buffer, &output, 9, false});
    Execute("a negative size", Crc32cParameters{1, &cl.buffer, &output, -1, false});
    FreeTask();
    ExpectGolden("crc32c");
}

TEST_F(GoldenTest, PicturesOfOneKernel) {
    GetTask("image.invert");
    Execute("a rectangle", InvertImageParameters{1, &image, &smaller, 10, 20, 5, 4});
    Execute("all", InvertImageParameters{1, &image, &smaller, 0, 0, 32, 24});
    FreeTask();
    GetTask("image.gamma");
    Execute("a rectangle", GammaImageParameters{1, &image, &smaller, 10, 20, 5, 4, 2.2});
    FreeTask();
    GetTask("image.stereo.sbs");
    Execute("a rectangle", StereoSbsParameters{1, &image, &image, &smaller, 2, 3, 30, 21});
    FreeTask();
    ExpectGolden("pictures");
}

TEST_F(GoldenTest, Scaling) {
    const OpenCLMemoryObjectRef large = MakeImage(2500, 1034);
    const OpenCLMemoryObjectRef wide = MakeImage(200, 100);
    const OpenCLMemoryObjectRef high = MakeImage(100, 200);
    TakeLog();
    for (const char* key : {"image.scalenearest", "image.scalebicubic"}) {
        GetTask(key);
        Execute("halved", ScaleParameters{1, &image, &smaller, 0, 0, 40, 30, 0, 0, 20, 15});
        Execute("up", ScaleParameters{1, &image, &smaller, 5, 6, 10, 9, 1, 2, 30, 3});
        Execute("mirrored", ScaleParameters{1, &image, &smaller, 5, 6, 10, 9, 30, 20, -20, -18});
        Execute("mirrored columns", ScaleParameters{1, &image, &smaller, 0, 0, 40, 30, 31, 0, -32, 24});
        Execute("taller", ScaleParameters{1, &wide, &high, 0, 0, 200, 100, 0, 0, 100, 200});
        Execute("equal columns", ScaleParameters{1, &wide, &high, 7, 8, 64, 2, 70, 180, -64, -128});
        Execute("many taps", ScaleParameters{1, &image, &smaller, 0, 0, 40, 1, 0, 0, 2, 1});
        Execute("tiles", ScaleParameters{1, &image, &large, 0, 0, 25, 10, 0, 0, 2500, 1034});
        Execute("one tile", ScaleParameters{1, &image, &large, 0, 0, 25, 10, 0, 0, 1024, 1024});
        const OpenCLCommandQueueRef unordered =
            cl.context.CreateCommandQueue(OpenCLQueueFlags::OUT_OF_ORDER_EXEC_MODE).GetValue();
        TakeLog();
        const ScaleParameters record{1, &image, &smaller, 0, 0, 8, 8, 0, 0, 16, 16};
        Execute("out of order", record, unordered);
        Execute("in order again", record);
        FreeTask();
    }
    ExpectGolden("scaling");
}

TEST_F(GoldenTest, PrefixSum) {
    output = cl.context.CreateBuffer(1, bufferSize).GetValue();
    TakeLog();
    GetTask("prefixsum");
    UInt32 total = 0;
    const struct {
        Int64 count;
        Int64 padded;
        bool merges;
        UInt32* total;
    } cases[] = {
        {1024, 16384, false, nullptr},
        {2, 16384, true, &total},
        {16384, 16384, true, nullptr},
        {32768, 32768, true, nullptr},
        {100000, 131072, false, &total},
        {100000, 131072, true, nullptr},
        {(1 << 28) + 1, 1 << 29, false, nullptr},
    };
    for (const auto& [count, padded, merges, sum] : cases) {
        Execute(std::to_string(count) + " in " + std::to_string(padded) + (merges ? ", merged" : ""),
                PrefixSumParameters{1, &cl.buffer, &output, padded, count, merges, sum});
        EXPECT_EQ(total, sum != nullptr ? 0xEEEEEEEEU * 2 : 0) << count;
        total = 0;
    }
    const OpenCLCommandQueueRef next = cl.context.CreateCommandQueue().GetValue();
    const OpenCLCommandQueueRef unordered =
        cl.context.CreateCommandQueue(OpenCLQueueFlags::OUT_OF_ORDER_EXEC_MODE).GetValue();
    TakeLog();
    const PrefixSumParameters record{1, &cl.buffer, &output, 16384, 5, true};
    Execute("on another queue", record, next);
    Execute("there again", record, next);
    Execute("out of order", record, unordered);
    Step("the queue's end", [&] { return unordered.Release(); });
    Execute("after the queue's end", record);
    FreeTask();
    ExpectGolden("prefixsum");
}

TEST_F(GoldenTest, Launches) {
    const OpenCLCommandQueueRef& queue = cl.queue;
    const OpenCLKernelRef& kernel = cl.kernel;
    const size_t offset[] = {1, 2};
    const size_t global[] = {8, 6};
    const size_t local[] = {4, 3};
    const size_t limits[] = {4, 2, 2};
    const size_t zeros[] = {2, 0, 0};
    const size_t grouped[] = {8, 2, 2};
    constexpr size_t kHuge = size_t{1} << 40;
    const size_t huge[] = {kHuge, kHuge, 1};
    STEP(queue.EnqueueNDRangeKernel(kernel, 2, offset, global, local, 0, nullptr, &event));
    STEP(queue.EnqueueNDRangeKernel(kernel, 2, nullptr, global, nullptr));
    STEP(queue.EnqueueNDRangeKernel(kernel, 4, nullptr, grouped, nullptr));
    STEP(queue.EnqueueNDRangeKernel(kernel, 70, nullptr, grouped, grouped));
    const auto range = [&](const char* title, const size_t* most, size_t first, size_t count, Int waits = 1,
                           OpenCLEventRef* slot = nullptr) {
        Step(title, [&] { return queue.EnqueueRange(kernel, most, first, count, waits, &event, slot); });
    };
    range("no limits", nullptr, 7, 37, 1, &second);
    range("no limits and no items", nullptr, 7, 0);
    range("slabs, rows and a rest", limits, 10, 37);
    range("limits of zero", zeros, 0, 3, 0);
    range("limits beyond any count", huge, 0, kHuge + 5, 0);
    range("an event of the last", limits, 0, 37, 0, &second);
    STEP(queue.WaitForEvents(1, &second));
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
    for (const size_t* most : {limits, static_cast<const size_t*>(nullptr)}) {
        fake.Fail("clWaitForEvents", CL_OUT_OF_RESOURCES);
        groups("no items, and the wait fails", 4, most, 10, 0);
        fake.FailNothing();
    }
    for (const char* title : {"the second fails", "the first fails"}) {
        fake.Fail("clEnqueueNDRangeKernel", CL_OUT_OF_RESOURCES, title[4] == 's' ? 2 : 1);
        range(title, limits, 0, 37, 0, &second);
        fake.FailNothing();
    }
    groups("an event of none waited for", 64, nullptr, 0, 70);
    fake.Fail("clEnqueueNDRangeKernel", CL_OUT_OF_RESOURCES, 1);
    groups("groups fail", 64, nullptr, 0, 70);
    const OpenCLEventRef mixed[] = {{}, event, {}, event};
    const OpenCLEventRef nothing[3];
    STEP(queue.EnqueueNDRangeKernel(kernel, 1, nullptr, global, nullptr, 4, mixed, &event));
    for (const Int count : {3, -1})
        STEP(queue.EnqueueNDRangeKernel(kernel, 1, nullptr, global, nullptr, count, nothing));
    STEP(queue.EnqueueRange(kernel, limits, 0, 5, 1, &event, &event));
    STEP(queue.EnqueueGroupedRange(kernel, 4, tail, nullptr, 0, 5, 1, &event, &event));
    STEP(queue.WaitForEvents(3, nothing));
    ExpectGolden("launches");
}

/// Each function of OpenCL that is called, with the values of its arguments by name.
class CallsTest : public GoldenTest {
protected:
    void SetUp() override {
        isSharing = true;
        GoldenTest::SetUp();
        device = OpenCL::GetDeviceFromId(Devices()[0]).GetValue();
        TakeLog();
    }
    void TearDown() override {
        device = nullptr;
        platforms.Reset();
        found.Reset();
        GoldenTest::TearDown();
    }

    void Queries() {
        Step("available", [] { static_cast<void>(OpenCL::IsAvailable()); });
        STEP(OpenCL::GetPlatforms(platforms));
        STEP(platforms[0].GetDevices(found));
    }
    void Creations() {
        using Flags = OpenCLMemoryFlags;
        const OpenCLContextRef& context = cl.context;
        STEP(OpenCL::CreateContext(Platform(), Devices()));
        STEP(context.CreateCommandQueue(3));
        STEP(context.CreateCommandQueue(0xFFFFFFFE));
        const UInt32 allFlags[] = {0,
                                   Flags::READ_WRITE,
                                   Flags::READ_ONLY,
                                   Flags::WRITE_ONLY,
                                   Flags::READ_ONLY | Flags::ALLOC_HOST_PTR,
                                   Flags::READ_WRITE | Flags::COPY_HOST_PTR,
                                   Flags::WRITE_ONLY | Flags::USE_HOST_PTR,
                                   0xFFFFFFC1};
        for (const UInt32 flags : allFlags) {
            const bool hasHost = (flags & (Flags::USE_HOST_PTR | Flags::COPY_HOST_PTR)) != 0;
            STEP(context.CreateBuffer(flags, 16, hasHost ? bytes : nullptr));
        }
        const OpenCLImageFormat format{OpenCLChannelOrder::BGRA, OpenCLChannelDataType::UNORM_INT8};
        const UInt32 access = Flags::READ_ONLY | Flags::ALLOC_HOST_PTR | Flags::COPY_HOST_PTR;
        STEP(context.CreateImage2D(access, format, 5, 3, 0));
        STEP(context.CreateImage2D(1, format, 5, 3, 20, bytes));
        STEP(context.CreateImage3D(Flags::WRITE_ONLY, format, 8, 4, 2));
        STEP(context.CreateFromGLTexture2D(Flags::READ_ONLY, 3553, 2, 9));
        STEP(context.CreateFromGLBuffer(Flags::WRITE_ONLY, 9));
    }
    void Programs() {
        const OpenCLContextRef& context = cl.context;
        const OpenCLProgramRef& program = cl.program;
        const char* sources[] = {"kernel void Main() {}", "abc"};
        const size_t lengths[] = {0, 2};
        BaseArray<UChar> binary;
        fake.binary = {1, 2};
        STEP(context.CreateProgramWithSource(2, sources, lengths));
        STEP(context.CreateProgramWithSource(1, sources));
        STEP(context.CreateProgramWithBinary(device, MakeArray<UChar>({1, 2})));
        STEP(program.Build(Devices(), "-w"));
        STEP(program.Build({}, nullptr));
        STEP(program.Build(MakeArray<cl_device_id>({Devices()[0], nullptr}), nullptr));
        STEP(program.GetBuildLog(Devices()[0]));
        STEP(program.GetBinary(binary));
        STEP(program.CreateKernel("Tail"));
    }
    void Commands() {
        const OpenCLCommandQueueRef& queue = cl.queue;
        const OpenCLMemoryObjectRef& buffer = cl.buffer;
        const size_t origin[] = {1, 2, 1};
        const size_t region[] = {8, 6, 1};
        size_t row = 0;
        size_t slice = 0;
        const size_t one = 1;
        STEP(queue.EnqueueNDRangeKernel(cl.kernel, 1, nullptr, &one, nullptr, 0, nullptr, &event));
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
        Step("event", [&] { second = {}; });
        for (const char* name : {"clCreateContext", "clCreateBuffer", "clEnqueueNDRangeKernel",
                                 "clEnqueueMapBuffer", "clGetPlatformIDs"})
            fake.Fail(name, CL_OUT_OF_RESOURCES);
        STEP(OpenCL::CreateContext(Platform(), Devices()));
        STEP(cl.context.CreateBuffer(1, 8));
        STEP(queue.EnqueueNDRangeKernel(cl.kernel, 1, nullptr, &one, nullptr, 0, nullptr, &event));
        STEP(queue.EnqueueMapBuffer(buffer, true, 1, 0, 8, 0, nullptr, &event));
        Step("failing list", [&] { static_cast<void>(OpenCL::IsAvailable()); });
        fake.FailNothing();
    }
    void Kernels() {
        const OpenCLKernelRef& kernel = cl.kernel;
        const Int32 ints[] = {3, -4};
        const UInt32 uints[] = {3, 0xFFFFFFFF};
        const Float32 floats[] = {1.5F, std::numeric_limits<Float32>::quiet_NaN()};
        const Float64 doubles[] = {0.1, -std::numeric_limits<Float64>::infinity()};
        const std::vector<Vector32> vectors(6, Vector32{1, 2, 3});
        size_t sizes[3] = {};
        for (const UInt32 which : {0U, 1U, 2U, 3U, 4U, 7U})
            STEP(kernel.GetWorkGroupInfo(device, which, 24, sizes));
        STEP(kernel.GetWorkGroupInfo(device, 1, 8, sizes));
        STEP(kernel.SetArg(0, cl.buffer));
        STEP(kernel.SetArgLocalMemory(1, 64));
        STEP(kernel.SetArg(2, ints, 2));
        STEP(kernel.SetArg(2, static_cast<const Int32*>(nullptr), 2));
        STEP(kernel.SetArg(0, uints, 2));
        STEP(kernel.SetArg(0, floats, 2));
        STEP(kernel.SetArg(0, doubles, 2));
        for (const Int count : {0, 1, 5, 6}) STEP(kernel.SetArg(0, vectors.data(), count));
        // No event comes before arguments of 8 and 16 bits.
        const Char chars[2] = {};
        const UChar more[2] = {};
        const Int16 shorts[2] = {};
        const UInt16 words[2] = {};
        STEP(kernel.SetArg(0, chars, 2));
        STEP(kernel.SetArg(0, more, 2));
        STEP(kernel.SetArg(0, shorts, 2));
        STEP(kernel.SetArg(0, words, 2));
    }
    void Sharing() {
        const OpenGLContextRef gl = MakeGLContext();
        fake::Object& sharer = fake.AddDevice(*fake.platforms[0], "Sharer");
        sharer.info[CL_DEVICE_EXTENSIONS] = fake::TextBytes("cl_khr_gl_sharing");
        sharer.info[CL_DEVICE_TYPE] = fake::NumberBytes<cl_device_type>({CL_DEVICE_TYPE_GPU});
        fake.sharingDevices = {fake.platforms[0]->devices[0], &sharer};
        const auto share = [&] { return OpenCL::CreateGLSharedContext(gl, Platform()); };
        Step("share", share, false);
        fake.Fail("clGetGLContextInfoKHR", CL_INVALID_OPERATION);
        Step("failing share", share, false);
        fake.FailNothing();
    }
    void Releases() {
        // Formats and images are asked for untraced.
        BaseArray<OpenCLImageFormat> formats;
        STEP(cl.context.GetSupportedImageFormats(1, {}, formats));
        Step("image", [&] { EXPECT_FALSE(image.GetImageInfo(4).IsEmpty()); });
        STEP(cl.kernel.Release());
        STEP(cl.program.Release());
        STEP(cl.buffer.Release());
        STEP(cl.queue.Release());
        Step("context's end", [&] { cl.context = {}; });
    }

    OpenCLDeviceRef device;
    BaseArray<OpenCLPlatformRef> platforms;
    BaseArray<OpenCLDeviceRef> found;
    std::byte bytes[64] = {};
};

TEST_F(CallsTest, EveryFunctionsValuesAreInWords) {
    Queries();
    Creations();
    Programs();
    Commands();
    Kernels();
    Sharing();
    Releases();
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
