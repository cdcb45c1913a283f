#include "module_fixture.h"
#include "task_cases.h"

namespace nuvra::test {
namespace {

/// The memory of the records is two buffers and two pictures, the second of 32 by 24 pixels.
class TaskTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        bufferSize = UInt64{1} << 35;  // suffices for any record
        MakeObjects();
        Limit(256, 256, 256);
        memory[0] = cl.buffer;
        memory[1] = MakeBuffer(bufferSize);
        memory[2] = MakeImage(40, 30);
        memory[3] = MakeImage(32, 24);
    }
    void TearDown() override {
        for (OpenCLMemoryObjectRef& one : memory) one = nullptr;
        task = {};
        ModuleTest::TearDown();
    }
    OpenCLMemoryObjectRef MakeBuffer(UInt64 size) { return cl.context.CreateBuffer(1, size).GetValue(); }
    OpenCLMemoryObjectRef MakeImage(size_t width, size_t height) {
        return cl.context.CreateImage2D(1, {}, width, height).GetValue();
    }
    std::string Get(const char* name) {
        const Result<OpenCLTaskRef> result = cl.context.GetTask(MakeText(name));
        task = result.GetValue();
        return Outcome(result);
    }
    /// Expects a record's outcome, and a refusal before any call.
    void Expect(const void* record, const std::string& outcome, const std::string& what) {
        fake.calls.clear();
        EXPECT_EQ(Outcome(task.Execute(cl.context, cl.queue, record)), outcome) << what;
        EXPECT_EQ(fake.calls.empty(), outcome != "OK") << what;
    }
    void SetDevice(cl_device_info which, fake::Bytes answer) {
        fake.platforms[0]->devices[0]->info[which] = std::move(answer);
    }
    /// The device's limits, and what it grants the kernels that are made next.
    void Limit(size_t items, size_t group, size_t granted, cl_ulong localMemory = 32768) {
        SetDevice(CL_DEVICE_MAX_WORK_ITEM_SIZES, fake::NumberBytes<size_t>({items, 1, 1}));
        SetDevice(CL_DEVICE_MAX_WORK_GROUP_SIZE, fake::NumberBytes<size_t>({group}));
        SetDevice(CL_DEVICE_LOCAL_MEM_SIZE, fake::NumberBytes<cl_ulong>({localMemory}));
        fake.workGroupInfo[CL_KERNEL_WORK_GROUP_SIZE] = fake::NumberBytes<size_t>({granted});
    }
    /// Gets a task from a new context: the options of its last build, or the failure.
    std::string Build(const char* name) {
        task = {};
        cl.context = OpenCL::CreateContext(Platform(), Devices()).GetValue();
        fake.calls.clear();
        const std::string outcome = Get(name);
        builds = fake.TextsOf("clBuildProgram");
        if (outcome != "OK") return outcome;
        const size_t options = builds.back().find('"') + 1;
        return builds.back().substr(options, builds.back().rfind('"') - options);
    }
    /// The same of the prefix sums: the size of a group, or the failure.
    std::string BuildGroup() {
        const std::string options = Build("prefixsum");
        const size_t size = options.find('=') + 1;  // 0 where there are no options
        return options.substr(size, options.find(" -D PREFIX_SUM_ARRAY_SHIFT=14") - size);
    }

    OpenCLTaskRef task;
    OpenCLMemoryObjectRef memory[4];
    UInt32 total = 7;
    Texts builds;
};

TEST_F(TaskTest, NoTaskRunsOnARecordThatDoesNotFitItsMemory) {
    const OpenCLContextRef other = OpenCL::CreateContext(Platform(), Devices()).GetValue();
    const OpenCLMemoryObjectRef empty;
    const OpenCLMemoryObjectRef released[] = {MakeBuffer(1 << 20), MakeImage(40, 30)};
    const OpenCLMemoryObjectRef foreign[] = {other.CreateBuffer(1, 1 << 20).GetValue(),
                                             other.CreateImage2D(1, {}, 40, 30).GetValue()};
    const OpenCLMemoryObjectRef volume = cl.context.CreateImage3D(1, {}, 40, 30, 2).GetValue();
    ASSERT_TRUE(released[0].Release().IsOk() && released[1].Release().IsOk());
    for (const TaskCase& one : MakeTaskCases(memory, &total)) {
        SCOPED_TRACE(one.task);
        ASSERT_EQ(Get(one.task), "OK");
        Expect(nullptr, "CL_INVALID_VALUE", "no record");
        const bool isPicture = one.needs[0] == 0;
        const bool refusesEmpty = std::string_view(one.task) == "prefixsum";
        for (size_t i = 0; i < one.needs.size(); i++) {
            const auto expectWith = [&](const OpenCLMemoryObjectRef* poison, const char* outcome) {
                auto record = one.record;
                record[1 + i] = reinterpret_cast<Int64>(poison);
                Expect(record.data(), outcome, "memory " + std::to_string(i));
            };
            const OpenCLMemoryObjectRef exact = isPicture ? MakeImage(32, 24) : MakeBuffer(one.needs[i]);
            expectWith(&exact, "OK");
            expectWith(nullptr, "CL_INVALID_VALUE");
            expectWith(&empty, refusesEmpty ? "CL_INVALID_VALUE" : "CL_INVALID_MEM_OBJECT");
            expectWith(&released[isPicture], "CL_INVALID_MEM_OBJECT");
            expectWith(&memory[isPicture ? 0 : 2], "CL_INVALID_MEM_OBJECT");
            expectWith(&volume, "CL_INVALID_MEM_OBJECT");
            expectWith(&foreign[isPicture], "CL_INVALID_CONTEXT");
            if (!isPicture) {
                const OpenCLMemoryObjectRef small = MakeBuffer(one.needs[i] - 1);
                expectWith(&small, "CL_INVALID_BUFFER_SIZE");
            }
            const auto* last = reinterpret_cast<const OpenCLMemoryObjectRef*>(one.record[one.needs.size()]);
            if (i + 1 < one.needs.size()) expectWith(last, one.isInPlace ? "OK" : "CL_INVALID_VALUE");
        }
        auto outdated = one.record;
        outdated[0] = 2;
        Expect(outdated.data(), "CL_INVALID_VALUE", "another version");
    }
}

TEST_F(TaskTest, ATaskRunsFromItsInitialisationToTheEndOfItsResources) {
    for (const auto& [name, record, needs, isInPlace] : MakeTaskCases(memory, &total)) {
        SCOPED_TRACE(name);
        const Class* taskClass = Registry::FindClass(kOpenCLTaskClasses, name);
        task = OpenCLTaskRef(Table<ObjectInterface>()->Create(taskClass).GetValue());
        const bool asksForDevices = std::string_view(name) == "prefixsum";
        Expect(record.data(), "CL_INVALID_PROGRAM", "before Init");
        EXPECT_EQ(Outcome(task.FreeResources(cl.context)), "OK");
        EXPECT_EQ(task.QueryParameter(0, {}).IsEmpty(), !asksForDevices);
        EXPECT_EQ(Outcome(task.Init({})), asksForDevices ? "CL_DEVICE_NOT_FOUND" : kNullPointer);
        EXPECT_EQ(Outcome(task.Init(cl.context)), "OK");
        Expect(record.data(), "OK", "after Init");
        fake.Fail("clBuildProgram", CL_OUT_OF_RESOURCES);
        EXPECT_EQ(Outcome(task.Init(cl.context)), "CL_OUT_OF_RESOURCES");
        Expect(record.data(), "CL_INVALID_PROGRAM", "after a failed Init");
        fake.FailNothing();
        EXPECT_EQ(Outcome(task.Init(cl.context)), "OK");
        Expect(record.data(), "OK", "after another Init");
        EXPECT_EQ(Outcome(task.FreeResources(cl.context)), "OK");
        Expect(record.data(), "CL_INVALID_PROGRAM", "after FreeResources");
    }
}

TEST_F(TaskTest, RectanglesThatLeaveTheirPictureAreRefused) {
    using Numbers = std::vector<Int64>;
    constexpr Int64 kBeyond = Int64{1} << 31;
    const std::vector<Numbers> rectangles = {{0, 0, 0, 4},  {0, 0, 4, 0},  {0, 0, -5, 4},       {0, 0, 4, -5},
                                             {-1, 0, 4, 4}, {0, -1, 4, 4}, {28, 0, 5, 4},       {0, 21, 5, 4},
                                             {0, 0, 33, 1}, {0, 0, 1, 25}, {INT64_MAX, 0, 1, 1}};
    const std::vector<Numbers> scalings = {
        {0, 0, 0, 1, 0, 0, 1, 1},       {0, 0, 1, 0, 0, 0, 1, 1},           {9, 0, -1, 1, 0, 0, 1, 1},
        {0, 9, 1, -1, 0, 0, 1, 1},      {0, 0, 1, 1, 0, 0, 0, 1},           {0, 0, 1, 1, 30, 0, 3, 1},
        {0, 0, 1, 1, 1, 0, -3, 1},      {0, 0, 1, 1, 0, 24, 1, -26},        {kBeyond, 0, 1, 1, 0, 0, 1, 1},
        {0, 0, kBeyond, 1, 0, 0, 1, 1}, {0, kBeyond - 9, 1, 99, 0, 0, 1, 1}};
    const auto expectAll = [&](const TaskCase& one, const std::vector<Numbers>& cases) {
        ASSERT_EQ(Get(one.task), "OK");
        for (const Numbers& numbers : cases) {
            auto record = one.record;
            std::ranges::copy(numbers, record.data() + 1 + one.needs.size());
            Expect(record.data(), "CL_INVALID_VALUE", one.task + testing::PrintToString(numbers));
        }
    };
    for (const TaskCase& one : MakeTaskCases(memory, &total)) {
        const std::string_view name = one.task;
        if (name.starts_with("image."))
            expectAll(one, name.find("scale") != name.npos ? scalings : rectangles);
        // More taps than 32 bits count.
        if (name == "image.scalebicubic") expectAll(one, {{0, 0, 1, 1 << 30, 0, 1, 1, -2}});
    }
}

TEST_F(TaskTest, KernelsAreBuiltForProcessorsWhereAllDevicesAre) {
    SetDevice(CL_DEVICE_TYPE, fake::NumberBytes<cl_device_type>({CL_DEVICE_TYPE_CPU}));
    fake::Object& second = fake.AddDevice(*fake.platforms[0], "Second");
    second.info = fake.platforms[0]->devices[0]->info;
    for (const bool isProcessor : {true, false}) {
        EXPECT_EQ(Build("prefixsum").find("WORKGROUP_SIZE") == std::string::npos, isProcessor);
        EXPECT_EQ(Build("crc32c"),
                  std::string("-cl-fast-relaxed-math -D LANES=") + (isProcessor ? "8" : "2"));
        second.info[CL_DEVICE_TYPE] = fake::NumberBytes<cl_device_type>({CL_DEVICE_TYPE_GPU});
    }
}

TEST_F(TaskTest, AFailingBuildWritesTheLogOfEachDevice) {
    fake.AddDevice(*fake.platforms[0], "Second");
    fake.Fail("clBuildProgram", CL_BUILD_PROGRAM_FAILURE);
    fake.buildLog = "line 7: nonsense";
    EXPECT_EQ(Build("image.invert"), "CL_BUILD_PROGRAM_FAILURE");
    Texts expected;
    for (const std::string device : {"Fake device", "Second"})
        expected.push_back("cannot build the task \"image.invert\" on \"" + device + "\":\n" + fake.buildLog);
    EXPECT_EQ(host->diagnostics, expected);
}

TEST_F(TaskTest, BadCountsAreRefusedBeforeAnyCallAndHalfATotalIsNotTold) {
    ASSERT_EQ(Get("prefixsum"), "OK");
    const std::tuple<Int64, Int64, const char*> cases[] = {{0, 16384, "CL_INVALID_VALUE"},
                                                           {-5, 16384, "CL_INVALID_VALUE"},
                                                           {16385, 16384, "CL_INVALID_VALUE"},
                                                           {5, 8192, "CL_INVALID_VALUE"},
                                                           {5, 24576, "CL_INVALID_VALUE"},
                                                           {5, INT64_MIN, "CL_INVALID_VALUE"},
                                                           {5, Int64{1} << 32, "CL_INVALID_BUFFER_SIZE"},
                                                           {5, Int64{1} << 31, "OK"}};
    for (const auto& [count, padded, outcome] : cases) {
        const PrefixSumParameters record{1, &memory[0], &memory[1], padded, count};
        Expect(&record, outcome, std::to_string(count) + " in " + std::to_string(padded));
    }
    const PrefixSumParameters record{1, &memory[0], &memory[1], 16384, 5, false, &total};
    EXPECT_EQ(Outcome(task.Execute(cl.context, {}, &record)), kNullPointer);
    fake.Fail("clEnqueueReadBuffer", CL_OUT_OF_RESOURCES, 2);
    EXPECT_EQ(Outcome(task.Execute(cl.context, cl.queue, &record)), "CL_OUT_OF_RESOURCES");
    EXPECT_EQ(total, 7U);
}

TEST_F(TaskTest, ThePaddedCountIsAPowerOfTwoOfAtLeastOneChunk) {
    ASSERT_EQ(Get("prefixsum"), "OK");
    const auto ask = [&](auto value) { return task.QueryParameter(0, Data::Of(value).GetValue()); };
    EXPECT_EQ(ToText(ask(std::numeric_limits<Int64>::min())), "16384");
    EXPECT_EQ(ToText(ask(std::numeric_limits<Int64>::max())), std::to_string(Int64{1} << 62));
    EXPECT_EQ(ToText(ask(Int64{16384})), "16384");
    EXPECT_EQ(ToText(ask(Int32{16385})), "32768");
    EXPECT_EQ(ToText(ask((Int64{1} << 31) + 1)), "4294967296");
    for (const Data& none : {ask(Int64{0}), ask(MakeText("5")), task.QueryParameter(0, {})}) {
        ASSERT_NE(none.Find<Int32>(), nullptr);
        EXPECT_EQ(*none.Find<Int32>(), 0);
    }
    EXPECT_TRUE(task.QueryParameter(1, Data::Of(Int64{100}).GetValue()).IsEmpty());
}

TEST_F(TaskTest, TheGroupSizeIsTheLargestPowerOfTwoThatRuns) {
    constexpr const char* kNone = "CL_INVALID_WORK_GROUP_SIZE";
    // A device's work-items and group, what it grants and its local memory, and what is chosen. In the last
    // row, the width of its vectors, named for every kernel, is no limit.
    const std::tuple<size_t, size_t, size_t, cl_ulong, const char*> cases[] = {
        {8192, 8192, 8192, 65536, "4096"}, {1000, 1024, 1024, 32768, "512"}, {1024, 256, 1024, 32768, "256"},
        {1024, 1024, 100, 32768, "64"},    {1024, 1024, 1024, 4096, "512"},  {64, 64, 64, 512, "64"},
        {63, 1024, 1024, 32768, kNone},    {1024, 1024, 63, 32768, kNone},   {1024, 63, 1024, 32768, kNone},
        {1024, 1024, 1024, 511, kNone},    {1024, 1024, 32, 32768, "1024"}};
    for (const auto& [items, group, granted, localMemory, chosen] : cases) {
        Limit(items, group, granted, localMemory);
        EXPECT_EQ(BuildGroup(), chosen);
    }
    // It is a limit where a small kernel is granted more, or the others less.
    for (const auto& [ofSmall, ofOthers] : {std::pair(1024, 32), {32, 31}}) {
        fake.intercept = [&, most = ofSmall, least = ofOthers](const fake::Call& call) {
            if (call.name == "clCreateKernel")
                Limit(1024, 1024, call.values[1] == fake::Value(std::string("mergeResult")) ? most : least);
            return CL_SUCCESS;
        };
        EXPECT_EQ(BuildGroup(), kNone);
    }
}

TEST_F(TaskTest, EveryDeviceOfTheContextMustRunTheGroup) {
    fake::Object& second = fake.AddDevice(*fake.platforms[0], "Second");
    second.info[CL_DEVICE_MAX_WORK_ITEM_SIZES] = fake::NumberBytes<size_t>({512, 1, 1});
    const std::tuple<size_t, cl_ulong, const char*> cases[] = {
        {256, 32768, "256"}, {1024, 32768, "512"}, {1024, 1024, "128"}};
    for (const auto& [items, localMemory, chosen] : cases) {
        Limit(items, 1024, 1024);
        second.info[CL_DEVICE_LOCAL_MEM_SIZE] = fake::NumberBytes<cl_ulong>({localMemory});
        EXPECT_EQ(BuildGroup(), chosen);
        EXPECT_EQ(builds.size(), 1U);
    }
}

TEST_F(TaskTest, AGroupThatCannotBeBuiltIsHalvedAndTheFirstLogToldWhenNoneCan) {
    Limit(1024, 1024, 1024);
    fake.Fail("clBuildProgram", CL_BUILD_PROGRAM_FAILURE, 1);
    fake.Fail("clCreateKernel", CL_OUT_OF_RESOURCES, 2);
    fake.workGroupInfo.erase(CL_KERNEL_PREFERRED_WORK_GROUP_SIZE_MULTIPLE);  // unknown to OpenCL 1.0
    EXPECT_EQ(BuildGroup(), "256");
    EXPECT_EQ(builds.size(), 3U);
    EXPECT_EQ(host->diagnostics, Texts());

    fake.Fail("clBuildProgram", CL_OUT_OF_RESOURCES, 1);
    fake.Fail("clBuildProgram", CL_BUILD_PROGRAM_FAILURE);
    EXPECT_EQ(BuildGroup(), "CL_OUT_OF_RESOURCES");
    EXPECT_EQ(builds.size(), 5U);
    EXPECT_EQ(host->diagnostics.size(), 1U);
}

}  // namespace
}  // namespace nuvra::test
