#include "task_fixture.h"

namespace nuvra::test {
namespace {

/// The memory of the records is two buffers and two pictures, the second of 32 by 24 pixels.
class TaskTest : public TaskFixture {
protected:
    void SetUp() override {
        TaskFixture::SetUp();
        memory[0] = MakeBuffer(1 << 20);
        memory[1] = MakeBuffer(1 << 20);
        memory[2] = MakeImage(40, 30);
        memory[3] = MakeImage(32, 24);
    }
    void TearDown() override {
        for (OpenCLMemoryObjectRef& one : memory) one = nullptr;
        TaskFixture::TearDown();
    }
    OpenCLMemoryObjectRef MakeBuffer(UInt64 size) { return cl.context.CreateBuffer(1, size).GetValue(); }
    OpenCLMemoryObjectRef MakeImage(size_t width, size_t height) {
        return cl.context.CreateImage2D(1, {}, width, height).GetValue();
    }

    OpenCLMemoryObjectRef memory[4];
    UInt32 total = 0;
};

TEST_F(TaskTest, NoTaskRunsOnARecordThatDoesNotFitItsMemory) {
    const OpenCLContextRef other = OpenCL::CreateContext(Platform(), Devices()).GetValue();
    const OpenCLMemoryObjectRef empty;
    const OpenCLMemoryObjectRef released[] = {MakeBuffer(1 << 20), MakeImage(40, 30)};
    const OpenCLMemoryObjectRef foreign[] = {other.CreateBuffer(1, 1 << 20).GetValue(),
                                             other.CreateImage2D(1, {}, 40, 30).GetValue()};
    const OpenCLMemoryObjectRef volume = cl.context.CreateImage3D(1, {}, 40, 30, 2).GetValue();
    ASSERT_TRUE(released[0].Release().IsOk() && released[1].Release().IsOk());
    for (const auto& [name, words, needs, isInPlace] : MakeTaskCases(memory, &total)) {
        SCOPED_TRACE(name);
        Get(name);
        Expect(nullptr, "CL_INVALID_VALUE", "no record");
        const bool isPicture = needs[0] == 0;
        const bool refusesEmpty = std::string_view(name) == "prefixsum";
        for (size_t i = 0; i < needs.size(); i++) {
            const auto expectWith = [&](const OpenCLMemoryObjectRef* poison, const char* outcome) {
                auto record = words;
                record[1 + i] = reinterpret_cast<Int64>(poison);
                Expect(record.data(), outcome, "memory " + std::to_string(i));
            };
            const OpenCLMemoryObjectRef exact = isPicture ? MakeImage(32, 24) : MakeBuffer(needs[i]);
            expectWith(&exact, "OK");
            expectWith(nullptr, "CL_INVALID_VALUE");
            expectWith(&empty, refusesEmpty ? "CL_INVALID_VALUE" : "CL_INVALID_MEM_OBJECT");
            expectWith(&released[isPicture], "CL_INVALID_MEM_OBJECT");
            expectWith(&memory[isPicture ? 0 : 2], "CL_INVALID_MEM_OBJECT");
            expectWith(&volume, "CL_INVALID_MEM_OBJECT");
            expectWith(&foreign[isPicture], "CL_INVALID_CONTEXT");
            if (!isPicture) {
                const OpenCLMemoryObjectRef small = MakeBuffer(needs[i] - 1);
                expectWith(&small, "CL_INVALID_BUFFER_SIZE");
            }
            const auto* last = reinterpret_cast<const OpenCLMemoryObjectRef*>(words[needs.size()]);
            if (i + 1 < needs.size()) expectWith(last, isInPlace ? "OK" : "CL_INVALID_VALUE");
        }
        auto outdated = words;
        outdated[0] = 2;
        Expect(outdated.data(), "CL_INVALID_VALUE", "another version");
    }
}

TEST_F(TaskTest, ATaskRunsFromItsInitialisationToTheEndOfItsResources) {
    for (const auto& [name, words, needs, isInPlace] : MakeTaskCases(memory, &total)) {
        SCOPED_TRACE(name);
        const Class* taskClass = Registry::FindClass(kOpenCLTaskClasses, name);
        task = OpenCLTaskRef(Table<ObjectInterface>()->Create(taskClass).GetValue());
        const bool asksForDevices = std::string_view(name) == "prefixsum";
        Expect(words.data(), "CL_INVALID_PROGRAM", "before Init");
        EXPECT_EQ(Outcome(task.FreeResources(cl.context)), "OK");
        EXPECT_EQ(task.QueryParameter(0, {}).IsEmpty(), !asksForDevices);
        EXPECT_EQ(Outcome(task.Init({})), asksForDevices ? "CL_DEVICE_NOT_FOUND" : kNullPointer);
        EXPECT_EQ(Outcome(task.Init(cl.context)), "OK");
        Expect(words.data(), "OK", "after Init");
        fake.Fail("clBuildProgram", CL_OUT_OF_RESOURCES);
        EXPECT_EQ(Outcome(task.Init(cl.context)), "CL_OUT_OF_RESOURCES");
        Expect(words.data(), "CL_INVALID_PROGRAM", "after a failed Init");
        fake.FailNothing();
        EXPECT_EQ(Outcome(task.Init(cl.context)), "OK");
        Expect(words.data(), "OK", "after another Init");
        EXPECT_EQ(Outcome(task.FreeResources(cl.context)), "OK");
        Expect(words.data(), "CL_INVALID_PROGRAM", "after FreeResources");
    }
}

TEST_F(TaskTest, RectanglesThatLeaveTheirPictureAreRefused) {
    using Numbers = std::vector<Int64>;
    constexpr Int64 kBeyond = Int64{1} << 31;
    const std::vector<Numbers> rectangles = {
        {0, 0, 0, 4},  {0, 0, 4, 0},         {0, 0, -5, 4},        {0, 0, 4, -5},         {-1, 0, 4, 4},
        {0, -1, 4, 4}, {28, 0, 5, 4},        {0, 21, 5, 4},        {0, 0, 33, 1},         {0, 0, 1, 25},
        {32, 0, 1, 1}, {1, 1, INT64_MAX, 1}, {INT64_MAX, 0, 1, 1}, {2 * kBeyond, 0, 1, 1}};
    const std::vector<Numbers> scalings = {
        {0, 0, 0, 1, 0, 0, 1, 1},       {0, 0, 1, 0, 0, 0, 1, 1},       {9, 0, -1, 1, 0, 0, 1, 1},
        {0, 9, 1, -1, 0, 0, 1, 1},      {0, 0, 1, 1, 0, 0, 0, 1},       {0, 0, 1, 1, 0, 0, 1, 0},
        {0, 0, 1, 1, 30, 0, 3, 1},      {0, 0, 1, 1, 1, 0, -3, 1},      {0, 0, 1, 1, 0, 24, 1, -26},
        {kBeyond, 0, 1, 1, 0, 0, 1, 1}, {0, 0, kBeyond, 1, 0, 0, 1, 1}, {0, kBeyond - 9, 1, 99, 0, 0, 1, 1},
        {0, 0, 1, 1, 0, 0, -kBeyond, 1}};
    // More taps than 32 bits count.
    const std::vector<Numbers> taps = {{0, 0, 1 << 30, 1, 0, 0, 2, 1}, {0, 0, 1, 1 << 30, 0, 0, 1, -2}};
    const auto expectAll = [&](const TaskCase& one, const std::vector<Numbers>& cases) {
        Get(one.task);
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
        if (name == "image.scalebicubic") expectAll(one, taps);
    }
}

TEST_F(TaskTest, AChecksumDoesWithoutLocalMemoryWhereADeviceHasLittle) {
    for (const auto& [size, options] :
         {std::pair{cl_ulong{8192}, "math\", "}, {cl_ulong{8191}, "math -D SMALL_LOCAL_MEMORY\", "}}) {
        SetDevice(CL_DEVICE_LOCAL_MEM_SIZE, fake::NumberBytes<cl_ulong>({size}));
        EXPECT_EQ(GetAnew("crc32c"), "OK");
        EXPECT_NE(Take("clBuildProgram").back().find(options), std::string::npos) << size;
    }
}

TEST_F(TaskTest, AFailingBuildWritesTheLogOfEachDevice) {
    fake.AddDevice(*fake.platforms[0], "Second");
    fake.Fail("clBuildProgram", CL_BUILD_PROGRAM_FAILURE);
    fake.buildLog = "line 7: nonsense";
    EXPECT_EQ(GetAnew("image.invert"), "CL_BUILD_PROGRAM_FAILURE");
    Texts expected;
    for (const std::string device : {"Fake device", "Second"})
        expected.push_back("cannot build the task \"image.invert\" on \"" + device + "\":\n" + fake.buildLog);
    EXPECT_EQ(host->diagnostics, expected);
}

}  // namespace
}  // namespace nuvra::test
