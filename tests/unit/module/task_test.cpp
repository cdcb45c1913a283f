#include "task_fixture.h"

namespace nuvra::test {
namespace {

class TaskTest : public ImageTaskFixture {
protected:
    std::string Clear(Int64 size, UChar value) {
        const ClearMemParameters parameters{1, &cl.buffer, size, value};
        return Execute(&parameters);
    }
    std::string Invert(Int64 x, Int64 y, Int64 width, Int64 height) {
        const InvertImageParameters parameters{1, &source, &destination, x, y, width, height};
        return Execute(&parameters);
    }
    void SetLimits(std::initializer_list<size_t> sizes) {
        SetDevice(CL_DEVICE_MAX_WORK_ITEM_DIMENSIONS,
                  fake::NumberBytes<cl_uint>({static_cast<cl_uint>(sizes.size())}));
        SetDevice(CL_DEVICE_MAX_WORK_ITEM_SIZES, fake::NumberBytes<size_t>(sizes));
    }
};

struct TaskDescription {
    const char* key;
    const char* classId;
    const char* options;
    std::vector<const char*> kernels;
};
const TaskDescription kTasks[] = {
    {"clearmem",
     "net.nuvra.opencl.task.clearmem",
     "null",
     {"ClearMem16_0", "ClearMem1_0", "ClearMem16_v", "ClearMem1_v"}},
    {"crc32c", "net.nuvra.opencl.task.crc32c", "\"-cl-fast-relaxed-math\"", {"CalculateCRC"}},
    {"prefixsum",
     "net.nuvra.opencl.task.prefixsum",
     "\"-D WORKGROUP_SIZE=256 -D PREFIX_SUM_ARRAY_SHIFT=14\"",
     {"scanExclusiveLocal1", "scanExclusiveLocal2", "uniformUpdate1", "uniformUpdate2", "mergeResult",
      "buildNextBuffer", "addLevel1", "addLevel2"}},
    {"image.invert", "net.nuvra.opencl.task.invertimage", "\"-cl-fast-relaxed-math\"", {"InvertImage"}},
    {"image.gamma", "net.nuvra.opencl.task.gammaimage", "\"-cl-fast-relaxed-math\"", {"InvertImage"}},
    {"image.scalenearest",
     "net.nuvra.opencl.task.scalenearest",
     "\"-cl-fast-relaxed-math\"",
     {"ScaleNearest"}},
    {"image.scalebicubic",
     "net.nuvra.opencl.task.scalebicubic",
     "\"-cl-fast-relaxed-math\"",
     {"ScaleBicubic", "PrepareBufferPositive", "PrepareBufferNegative"}},
    {"image.stereo.sbs", "net.nuvra.opencl.task.stereo.sbs", "\"-cl-fast-relaxed-math\"", {"InvertImage"}},
};

TEST_F(TaskTest, TheTasksAreRegisteredUnderTheirClasses) {
    std::map<std::string, std::string> found;
    Table<Registry>()->Enumerate(kOpenCLTaskClasses, &found,
                                 [](void* context, const Id& key, const RegistryEntry& entry) {
                                     auto& map = *static_cast<std::map<std::string, std::string>*>(context);
                                     map.emplace(key.GetText(), entry.valueId);
                                 });
    EXPECT_EQ(found.size(), std::size(kTasks));
    for (const TaskDescription& description : kTasks) EXPECT_EQ(found[description.key], description.classId);
}

TEST_F(TaskTest, EachTaskIsBuiltWithItsOptionsAndMakesItsKernelsInOrder) {
    SetDevice(CL_DEVICE_MAX_WORK_ITEM_SIZES, fake::NumberBytes<size_t>({256, 256, 256}));
    SetDevice(CL_DEVICE_LOCAL_MEM_SIZE, fake::NumberBytes<cl_ulong>({32768}));
    cl.context = OpenCL::CreateContext(Platform(), Devices()).GetValue();
    int program = 2;
    for (const TaskDescription& description : kTasks) {
        ASSERT_EQ(Outcome(cl.context.GetTask(MakeText(description.key))), "OK");
        const std::string name = "program" + std::to_string(program++);
        EXPECT_EQ(fake.TextsOf("clBuildProgram"),
                  Texts{name + ", 1, [device1], " + description.options + ", null, null"});
        Texts expected;
        for (const char* kernel : description.kernels) expected.push_back(name + ", \"" + kernel + "\", ptr");
        EXPECT_EQ(Take("clCreateKernel"), expected);
        // Handed out again, a task is not made again.
        ASSERT_EQ(Outcome(cl.context.GetTask(MakeText(description.key))), "OK");
        EXPECT_EQ(fake.calls.size(), 0U);
    }
}

TEST_F(TaskTest, MemoryIsClearedInBlocksOfSixteenBytesAndATail) {
    Get("clearmem");
    const std::string lanes = "abababababababababababababababab";
    const std::tuple<Int64, UChar, Texts> cases[] = {
        {35,
         0,
         {"ClearMem16_0 [0 0 0] [2 1 1] null (memory1)", "ClearMem1_0 [32 0 0] [3 1 1] null (memory1)"}},
        {48, 0, {"ClearMem16_0 [0 0 0] [3 1 1] null (memory1)"}},
        {15, 0, {"ClearMem1_0 [0 0 0] [15 1 1] null (memory1)"}},
        {32, 0xAB, {"ClearMem16_v [0 0 0] [2 1 1] null (memory1, " + lanes + ")"}},
        {33,
         0xAB,
         {"ClearMem16_v [0 0 0] [2 1 1] null (memory1, " + lanes + ")",
          "ClearMem1_v [32 0 0] [1 1 1] null (memory1, ab)"}},
        {0, 0xAB, {}},
        {-17, 0, {}},
    };
    for (const auto& [size, value, launches] : cases) {
        EXPECT_EQ(Clear(size, value), "OK") << size;
        EXPECT_EQ(fake.LaunchTexts(), launches) << size;
        EXPECT_EQ(fake.TextsOf("clFinish"), Texts());
        for (const std::string& launch : fake.TextsOf("clEnqueueNDRangeKernel"))
            EXPECT_TRUE(launch.ends_with(", 0, null, null")) << launch;
    }
    EXPECT_EQ(Clear(Int64{16} << 27, 0), "OK");
    EXPECT_EQ(fake.LaunchTexts(), (Texts{"ClearMem16_0 [0 0 0] [1024 1024 64] null (memory1)",
                                         "ClearMem16_0 [67108864 0 0] [1024 1024 64] null (memory1)"}));
}

TEST_F(TaskTest, MissingLimitsCountAsOne) {
    SetLimits({4, 0});
    Get("clearmem");
    EXPECT_EQ(Clear(160, 0), "OK");
    EXPECT_EQ(fake.LaunchTexts(), (Texts{"ClearMem16_0 [0 0 0] [4 1 1] null (memory1)",
                                         "ClearMem16_0 [4 0 0] [4 1 1] null (memory1)",
                                         "ClearMem16_0 [8 0 0] [2 1 1] null (memory1)"}));
}

TEST_F(TaskTest, WithoutAnyLimitsARangeIsOneLaunch) {
    SetLimits({});
    Get("clearmem");
    EXPECT_EQ(Clear(80, 0), "OK");
    EXPECT_EQ(fake.LaunchTexts(), Texts{"ClearMem16_0 [0] [5] null (memory1)"});
}

TEST_F(TaskTest, ClearMemoryStopsAtTheFirstFailure) {
    Get("clearmem");
    fake.Fail("clEnqueueNDRangeKernel", CL_OUT_OF_RESOURCES, 1);
    EXPECT_EQ(Clear(35, 0), "CL_OUT_OF_RESOURCES");
    EXPECT_EQ(TakeNames(), (Texts{"clSetKernelArg", "clEnqueueNDRangeKernel"}));
    fake.Fail("clSetKernelArg", CL_INVALID_ARG_VALUE, 2);
    EXPECT_EQ(Clear(35, 7), "CL_INVALID_ARG_VALUE");
    EXPECT_EQ(TakeNames(), (Texts{"clSetKernelArg", "clSetKernelArg"}));
    fake.calls.clear();
    EXPECT_EQ(
        Outcome(task.Execute(
            cl.context, {}, &*std::make_unique<ClearMemParameters>(ClearMemParameters{1, &cl.buffer, 4, 0}))),
        kNullPointer);
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
        const auto expectRefusal = [&](const void* record, const char* outcome, auto what) {
            EXPECT_EQ(Execute(record), outcome) << one.task << ", " << what;
            EXPECT_EQ(fake.calls.size(), 0U) << one.task << ", " << what;
        };
        ASSERT_EQ(Execute(one.record.data()), "OK") << one.task;
        expectRefusal(nullptr, "CL_INVALID_VALUE", "no record");
        for (const size_t field : one.memory) {
            for (const auto& [memory, outcome] : poisons) {
                std::vector<std::byte> record = one.record;
                std::memcpy(record.data() + field, &memory, sizeof(memory));
                expectRefusal(record.data(), outcome, field);
            }
        }
        std::vector<std::byte> outdated = one.record;
        outdated[0] = std::byte{2};
        expectRefusal(outdated.data(), "CL_INVALID_VALUE", "another version");

        fake.Fail("clCreateKernel", CL_OUT_OF_RESOURCES);
        fake.Fail("clBuildProgram", CL_OUT_OF_RESOURCES);
        EXPECT_EQ(Outcome(task.Init(cl.context)), "CL_OUT_OF_RESOURCES");
        expectRefusal(one.record.data(), "CL_INVALID_PROGRAM", "after a failed Init");
        fake.FailNothing();
        EXPECT_EQ(Outcome(task.Init(cl.context)), "OK");
        EXPECT_EQ(Execute(one.record.data()), "OK") << one.task;
        EXPECT_EQ(Outcome(task.FreeResources(cl.context)), "OK");
        expectRefusal(one.record.data(), "CL_INVALID_PROGRAM", "after FreeResources");
    }
}

TEST_F(TaskTest, AChecksumStartsByWritingItsRegisterAndGoesOnWithout) {
    Get("crc32c");
    const OpenCLMemoryObjectRef crc = cl.context.CreateBuffer(OpenCLMemoryFlags::READ_WRITE, 4).GetValue();
    Crc32cParameters record{1, &cl.buffer, &crc, 9, true};
    // memory4: the table, memory5: the register
    const std::string launch = "CalculateCRC null [1] null (memory4, memory1, 09000000, memory5)";
    EXPECT_EQ(Execute(&record), "OK");
    EXPECT_EQ(fake.calls[0].name, "clEnqueueWriteBuffer");
    EXPECT_EQ(fake.TextsOf("clEnqueueWriteBuffer"), Texts{"queue1, memory5, 1, 0, 4, ptr, 0, null, null"});
    EXPECT_EQ(fake.LaunchTexts(), Texts{launch});
    UInt32 value = 0;
    EXPECT_EQ(Outcome(cl.queue.EnqueueReadBuffer(crc, true, 0, 4, &value)), "OK");
    EXPECT_EQ(value, 0xFFFFFFFFU);
    EXPECT_EQ(FailEachCall(&record), 1 + 4 + 1);
    record.start = false;
    EXPECT_EQ(FailEachCall(&record), 4 + 1);
    EXPECT_EQ(fake.LaunchTexts(), Texts{launch});
    record.size = -1;
    EXPECT_EQ(Execute(&record), "OK");
}

TEST_F(TaskTest, TheChecksumsTableIsCopiedOnce) {
    fake.calls.clear();
    ASSERT_EQ(Outcome(cl.context.GetTask(MakeText("crc32c"))), "OK");
    EXPECT_EQ(fake.TextsOf("clCreateBuffer"), Texts{"context1, 33, 1024, ptr, ptr"});
    cl.context = OpenCL::CreateContext(Platform(), Devices()).GetValue();
    fake.Fail("clCreateBuffer", CL_MEM_OBJECT_ALLOCATION_FAILURE);
    EXPECT_EQ(Outcome(cl.context.GetTask(MakeText("crc32c"))), "CL_MEM_OBJECT_ALLOCATION_FAILURE");
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

TEST_F(TaskTest, InvertLaunchesOnceOverTheRectangle) {
    Get("image.invert");
    EXPECT_EQ(Invert(10, 20, 5, 4), "OK");
    EXPECT_EQ(fake.LaunchTexts(), Texts{"InvertImage [10 20] [5 4] null (memory2, memory3)"});
    EXPECT_EQ(fake.TextsOf("clEnqueueNDRangeKernel"),
              Texts{"queue1, kernel2, 2, [10 20], [5 4], null, 0, null, null"});
    EXPECT_EQ(Invert(0, 0, 32, 24), "OK");
}

TEST_F(TaskTest, InvertRefusesRectanglesThatLeaveTheDestination) {
    Get("image.invert");
    const std::array<Int64, 4> cases[] = {
        {0, 0, 0, 4},
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
        {INT64_MAX, 0, 1, 1},
        {1, 1, INT64_MAX, 1},
        {Int64{1} << 32, 0, 1, 1},
        {0, 0, Int64{1} << 32, 1},
        {0, INT64_MIN, 1, 1},
    };
    for (const auto& [x, y, width, height] : cases) {
        EXPECT_EQ(Invert(x, y, width, height), "CL_INVALID_VALUE")
            << x << ' ' << y << ' ' << width << ' ' << height;
        EXPECT_EQ(fake.calls.size(), 0U);
    }
}

TEST_F(TaskTest, ATaskThatWasNotInitialisedRefusesToRun) {
    for (const TaskDescription& description : kTasks) {
        const Class* taskClass = Registry::FindClass(kOpenCLTaskClasses, description.key);
        const OpenCLTaskRef fresh(Table<ObjectInterface>()->Create(taskClass).GetValue());
        ASSERT_TRUE(fresh);
        const Int64 wrong = 2;
        EXPECT_EQ(Outcome(fresh.Execute(cl.context, cl.queue, &wrong)), "CL_INVALID_VALUE");
        const Int64 zeros[16] = {1};  // as large as any record
        EXPECT_EQ(Outcome(fresh.Execute(cl.context, cl.queue, zeros)), "CL_INVALID_PROGRAM");
        EXPECT_EQ(Outcome(fresh.FreeResources(cl.context)), "OK");
        EXPECT_EQ(fresh.QueryParameter(0, {}).IsEmpty(), std::string(description.key) != "prefixsum");
        EXPECT_TRUE(fresh.QueryParameter(1, {}).IsEmpty());
        const bool asksForDevices = std::string(description.key) == "prefixsum";
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
