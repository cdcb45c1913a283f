#include "task_fixture.h"

namespace nuvra::test {
namespace {

/// With a source and a destination picture, which are memory2 and memory3.
class TaskTest : public TaskFixture {
protected:
    void SetUp() override {
        TaskFixture::SetUp();
        source = MakeImage(40, 30);
        destination = MakeImage(32, 24);
    }
    void TearDown() override {
        source = destination = nullptr;
        TaskFixture::TearDown();
    }
    OpenCLMemoryObjectRef MakeImage(size_t width, size_t height) {
        return cl.context.CreateImage2D(1, {}, width, height).GetValue();
    }
    /// Expects that a record is refused before any call.
    void ExpectRefusal(const void* record, const char* outcome, const std::string& what) {
        EXPECT_EQ(Execute(record), outcome) << what;
        EXPECT_EQ(fake.calls.size(), 0U) << what;
    }

    OpenCLMemoryObjectRef source;
    OpenCLMemoryObjectRef destination;
};

constexpr std::pair<const char*, const char*> kTasks[] = {
    {"clearmem", "net.nuvra.opencl.task.clearmem"},
    {"crc32c", "net.nuvra.opencl.task.crc32c"},
    {"prefixsum", "net.nuvra.opencl.task.prefixsum"},
    {"image.invert", "net.nuvra.opencl.task.invertimage"},
    {"image.gamma", "net.nuvra.opencl.task.gammaimage"},
    {"image.scalenearest", "net.nuvra.opencl.task.scalenearest"},
    {"image.scalebicubic", "net.nuvra.opencl.task.scalebicubic"},
    {"image.stereo.sbs", "net.nuvra.opencl.task.stereo.sbs"},
};

TEST_F(TaskTest, TheTasksAreRegisteredUnderTheirClasses) {
    std::map<std::string, std::string> found;
    Table<Registry>()->Enumerate(kOpenCLTaskClasses, &found,
                                 [](void* context, const Id& key, const RegistryEntry& entry) {
                                     auto& map = *static_cast<std::map<std::string, std::string>*>(context);
                                     map.emplace(key.GetText(), entry.valueId);
                                 });
    for (const auto& [key, classId] : kTasks) EXPECT_EQ(found[key], classId);
}

/// A task's record, and where in it memory is asked for.
struct RecordCase {
    const char* task;
    std::vector<std::byte> record;
    std::vector<size_t> memory;
    const char* whenEmpty = "CL_INVALID_MEM_OBJECT";
};
template <class Record>
RecordCase MakeCase(const char* task, const Record& record, std::vector<size_t> memory) {
    const auto* bytes = reinterpret_cast<const std::byte*>(&record);
    return {task, {bytes, bytes + sizeof(record)}, std::move(memory)};
}

TEST_F(TaskTest, NoTaskRunsOnARecordThatDoesNotFitItsMemory) {
    const OpenCLContextRef otherContext = OpenCL::CreateContext(Platform(), Devices()).GetValue();
    const auto makeBuffer = [](const OpenCLContextRef& context, UInt64 size) {
        return context.CreateBuffer(OpenCLMemoryFlags::READ_WRITE, size).GetValue();
    };
    const OpenCLMemoryObjectRef register32 = makeBuffer(cl.context, 4);
    const OpenCLMemoryObjectRef input = makeBuffer(cl.context, 16384 * 4);
    const OpenCLMemoryObjectRef pairs = makeBuffer(cl.context, 16384 * 8);
    RecordCase cases[] = {
        MakeCase("clearmem", ClearMemParameters{1, &register32, 4, 7},
                 {offsetof(ClearMemParameters, buffer)}),
        MakeCase("crc32c", Crc32cParameters{1, &register32, &register32, 4, true},
                 {offsetof(Crc32cParameters, data), offsetof(Crc32cParameters, crc)}),
        MakeCase("prefixsum", PrefixSumParameters{1, &input, &pairs, 16384, 9, true},
                 {offsetof(PrefixSumParameters, input), offsetof(PrefixSumParameters, output)}),
        MakeCase("image.invert", InvertImageParameters{1, &source, &destination, 0, 0, 1, 1},
                 {offsetof(InvertImageParameters, source), offsetof(InvertImageParameters, destination)}),
        MakeCase("image.gamma", GammaImageParameters{1, &source, &destination, 0, 0, 1, 1},
                 {offsetof(GammaImageParameters, source), offsetof(GammaImageParameters, destination)}),
        MakeCase("image.scalenearest", ScaleParameters{1, &source, &destination, 0, 0, 1, 1, 0, 0, 1, 1},
                 {offsetof(ScaleParameters, source), offsetof(ScaleParameters, destination)}),
        MakeCase("image.scalebicubic", ScaleParameters{1, &source, &destination, 0, 0, 1, 1, 0, 0, 1, 1},
                 {offsetof(ScaleParameters, source), offsetof(ScaleParameters, destination)}),
        MakeCase("image.stereo.sbs", StereoSbsParameters{1, &source, &source, &destination, 0, 0, 1, 1},
                 {offsetof(StereoSbsParameters, first), offsetof(StereoSbsParameters, second),
                  offsetof(StereoSbsParameters, destination)}),
    };
    cases[2].whenEmpty = "CL_INVALID_VALUE";
    SetDevice(CL_DEVICE_LOCAL_MEM_SIZE, fake::NumberBytes<cl_ulong>({32768}));

    const OpenCLMemoryObjectRef empty;
    const OpenCLMemoryObjectRef released = makeBuffer(cl.context, 1 << 20);
    const OpenCLMemoryObjectRef releasedImage = MakeImage(40, 30);
    const OpenCLMemoryObjectRef volume = cl.context.CreateImage3D(1, {}, 40, 30, 2).GetValue();
    const OpenCLMemoryObjectRef foreign = makeBuffer(otherContext, 1 << 20);
    const OpenCLMemoryObjectRef foreignImage = otherContext.CreateImage2D(1, {}, 40, 30).GetValue();
    const OpenCLMemoryObjectRef small = makeBuffer(cl.context, 3);
    ASSERT_TRUE(released.Release().IsOk() && releasedImage.Release().IsOk());
    for (const RecordCase& one : cases) {
        Get(one.task);
        const bool takesImages = std::string_view(one.task).starts_with("image");
        const std::pair<const OpenCLMemoryObjectRef*, const char*> poisons[] = {
            {nullptr, "CL_INVALID_VALUE"},
            {&empty, one.whenEmpty},
            {takesImages ? &releasedImage : &released, "CL_INVALID_MEM_OBJECT"},
            {takesImages ? &cl.buffer : &source, "CL_INVALID_MEM_OBJECT"},
            {&volume, "CL_INVALID_MEM_OBJECT"},
            {takesImages ? &foreignImage : &foreign, "CL_INVALID_CONTEXT"},
            {takesImages ? nullptr : &small, takesImages ? "CL_INVALID_VALUE" : "CL_INVALID_BUFFER_SIZE"},
        };
        ASSERT_EQ(Execute(one.record.data()), "OK") << one.task;
        ExpectRefusal(nullptr, "CL_INVALID_VALUE", one.task + std::string(", ") + "no record");
        for (const size_t field : one.memory) {
            for (const auto& [memory, outcome] : poisons) {
                std::vector<std::byte> record = one.record;
                std::memcpy(record.data() + field, &memory, sizeof(memory));
                ExpectRefusal(record.data(), outcome, one.task + std::string(", ") + std::to_string(field));
            }
        }
        std::vector<std::byte> outdated = one.record;
        outdated[0] = std::byte{2};
        ExpectRefusal(outdated.data(), "CL_INVALID_VALUE", one.task + std::string(", ") + "another version");

        fake.Fail("clCreateKernel", CL_OUT_OF_RESOURCES);
        fake.Fail("clBuildProgram", CL_OUT_OF_RESOURCES);
        EXPECT_EQ(Outcome(task.Init(cl.context)), "CL_OUT_OF_RESOURCES");
        ExpectRefusal(one.record.data(), "CL_INVALID_PROGRAM",
                      one.task + std::string(", ") + "after a failed Init");
        fake.FailNothing();
        EXPECT_EQ(Outcome(task.Init(cl.context)), "OK");
        EXPECT_EQ(Execute(one.record.data()), "OK") << one.task;
        EXPECT_EQ(Outcome(task.FreeResources(cl.context)), "OK");
        ExpectRefusal(one.record.data(), "CL_INVALID_PROGRAM",
                      one.task + std::string(", ") + "after FreeResources");
    }
}

TEST_F(TaskTest, RectanglesThatLeaveTheirPictureAreRefused) {
    const std::vector<Int64> rectangles[] = {{0, 0, 0, 4},
                                             {0, 0, 4, 0},
                                             {0, 0, -5, 4},
                                             {0, 0, 4, -5},
                                             {-1, 0, 4, 4},
                                             {0, -1, 4, 4},
                                             {28, 0, 5, 4},
                                             {0, 21, 5, 4},
                                             {32, 0, 1, 1},
                                             {0, 24, 1, 1},
                                             {0, 0, 33, 1},
                                             {0, 0, 1, 25},
                                             {1, 1, INT64_MAX, 1},
                                             {INT64_MAX, 0, 1, 1},
                                             {Int64{1} << 32, 0, 1, 1},
                                             {0, 0, Int64{1} << 32, 1},
                                             {0, INT64_MIN, 1, 1}};
    constexpr Int64 kBeyond = Int64{1} << 31;
    const std::vector<Int64> scalings[] = {
        {0, 0, 0, 1, 0, 0, 1, 1},        {0, 0, 1, 0, 0, 0, 1, 1},       {9, 0, -1, 1, 0, 0, 1, 1},
        {0, 9, 1, -1, 0, 0, 1, 1},       {0, 0, 1, 1, 0, 0, 0, 1},       {0, 0, 1, 1, 0, 0, 1, 0},
        {0, 0, 1, 1, 30, 0, 3, 1},       {0, 0, 1, 1, 1, 0, -3, 1},      {0, 0, 1, 1, 0, 24, 1, -26},
        {kBeyond, 0, 1, 1, 0, 0, 1, 1},  {0, 0, kBeyond, 1, 0, 0, 1, 1}, {0, kBeyond - 9, 1, 99, 0, 0, 1, 1},
        {0, 0, 1, 1, 0, 0, -kBeyond, 1},
    };
    const auto expectAll = [&](RecordCase one, size_t field, const auto& numbers) {
        Get(one.task);
        for (const std::vector<Int64>& spoilt : numbers) {
            std::memcpy(one.record.data() + field, spoilt.data(), spoilt.size() * sizeof(Int64));
            ExpectRefusal(one.record.data(), "CL_INVALID_VALUE", one.task + testing::PrintToString(spoilt));
        }
    };
    expectAll(MakeCase("image.invert", InvertImageParameters{1, &source, &destination}, {}),
              offsetof(InvertImageParameters, x), rectangles);
    expectAll(MakeCase("image.gamma", GammaImageParameters{1, &source, &destination}, {}),
              offsetof(GammaImageParameters, x), rectangles);
    expectAll(MakeCase("image.stereo.sbs", StereoSbsParameters{1, &source, &source, &destination}, {}),
              offsetof(StereoSbsParameters, x), rectangles);
    for (const char* key : {"image.scalenearest", "image.scalebicubic"})
        expectAll(MakeCase(key, ScaleParameters{1, &source, &destination}, {}),
                  offsetof(ScaleParameters, srcX), scalings);
    const std::vector<Int64> taps[] = {{0, 0, 1 << 30, 1, 0, 0, 2, 1}, {0, 0, 1, 1 << 30, 0, 0, 1, -2}};
    expectAll(MakeCase("image.scalebicubic", ScaleParameters{1, &source, &destination}, {}),
              offsetof(ScaleParameters, srcX), taps);
}

TEST_F(TaskTest, NoPictureIsReadAndWrittenAtOnce) {
    for (const char* key : {"image.scalenearest", "image.scalebicubic"}) {
        Get(key);
        const ScaleParameters record{1, &source, &source, 0, 0, 1, 1, 0, 0, 1, 1};
        ExpectRefusal(&record, "CL_INVALID_VALUE", key);
    }
    Get("image.stereo.sbs");
    for (const auto& [first, second] : {std::pair{&source, &destination}, {&destination, &source}}) {
        const StereoSbsParameters record{1, first, second, &destination, 0, 0, 1, 1};
        ExpectRefusal(&record, "CL_INVALID_VALUE", "stereo");
    }
}

TEST_F(TaskTest, AChecksumDoesWithoutLocalMemoryWhereADeviceHasLittle) {
    for (const auto& [size, options] :
         {std::pair{cl_ulong{8192}, "math\", "}, {cl_ulong{8191}, "math -D SMALL_LOCAL_MEMORY\", "}}) {
        SetDevice(CL_DEVICE_LOCAL_MEM_SIZE, fake::NumberBytes<cl_ulong>({size}));
        cl.context = OpenCL::CreateContext(Platform(), Devices()).GetValue();
        EXPECT_EQ(Outcome(cl.context.GetTask(MakeText("crc32c"))), "OK");
        EXPECT_NE(Take("clBuildProgram").back().find(options), std::string::npos) << size;
    }
}

TEST_F(TaskTest, ATaskThatWasNotInitialisedRefusesToRun) {
    for (const auto& [key, classId] : kTasks) {
        const Class* taskClass = Registry::FindClass(kOpenCLTaskClasses, key);
        const OpenCLTaskRef fresh(Table<ObjectInterface>()->Create(taskClass).GetValue());
        ASSERT_TRUE(fresh);
        const Int64 wrong = 2;
        EXPECT_EQ(Outcome(fresh.Execute(cl.context, cl.queue, &wrong)), "CL_INVALID_VALUE");
        const Int64 zeros[16] = {1};  // as large as any record
        EXPECT_EQ(Outcome(fresh.Execute(cl.context, cl.queue, zeros)), "CL_INVALID_PROGRAM");
        EXPECT_EQ(Outcome(fresh.FreeResources(cl.context)), "OK");
        EXPECT_EQ(fresh.QueryParameter(0, {}).IsEmpty(), std::string(key) != "prefixsum");
        EXPECT_TRUE(fresh.QueryParameter(1, {}).IsEmpty());
        const bool asksForDevices = std::string(key) == "prefixsum";
        EXPECT_EQ(Outcome(fresh.Init({})), asksForDevices ? "CL_DEVICE_NOT_FOUND" : kNullPointer);
        EXPECT_EQ(Outcome(fresh.GetObject().Copy()), "nuvra.FunctionNotImplementedErrorObject");
    }
    const Texts debug = {"Component net.nuvra.opencl.task.clearmem", "CopyFrom is not implemented!", "Stop"};
    for (const std::string& part : debug)
        EXPECT_TRUE(std::any_of(host->diagnostics.begin(), host->diagnostics.end(),
                                [&](const std::string& m) { return m.find(part) != std::string::npos; }))
            << part;
}

TEST_F(TaskTest, AFailingBuildWritesTheLogOfEachDevice) {
    fake.AddDevice(*fake.platforms[0], "Second");
    cl.context = OpenCL::CreateContext(Platform(), Devices()).GetValue();
    fake.Fail("clBuildProgram", CL_BUILD_PROGRAM_FAILURE);
    fake.buildLog = "line 7: nonsense";
    EXPECT_EQ(Outcome(cl.context.GetTask(MakeText("image.invert"))), "CL_BUILD_PROGRAM_FAILURE");
    ASSERT_EQ(host->diagnostics.size(), 2U);
    const char* names[] = {"Fake device", "Second"};
    for (size_t i = 0; i < 2; i++)
        for (const char* part : {names[i], "image.invert", "line 7: nonsense"})
            EXPECT_NE(host->diagnostics[i].find(part), std::string::npos) << host->diagnostics[i];
}

}  // namespace
}  // namespace nuvra::test
