#include "module_fixture.h"

namespace nuvra::test {
namespace {

class TaskTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        MakeObjects();
        source = cl.context.CreateImage2D(1, {}, 40, 30).GetValue();
        destination = cl.context.CreateImage2D(1, {}, 32, 24).GetValue();
    }
    void TearDown() override {
        task = {};
        source = destination = nullptr;
        ModuleTest::TearDown();
    }
    void Get(const char* name) {
        const Result<OpenCLTaskRef> result = cl.context.GetTask(MakeText(name));
        ASSERT_EQ(Outcome(result), "OK");
        task = result.GetValue();
        fake.calls.clear();
    }
    std::string Execute(const void* parameters) {
        fake.calls.clear();
        fake.launches.clear();
        return Outcome(task.Execute(cl.context, cl.queue, parameters));
    }
    std::string Clear(Int64 size, UChar value) {
        const ClearMemParameters parameters{1, &cl.buffer, size, value};
        return Execute(&parameters);
    }
    std::string Invert(Int64 x, Int64 y, Int64 width, Int64 height) {
        const InvertImageParameters parameters{1, &source, &destination, x, y, width, height};
        return Execute(&parameters);
    }
    void SetLimits(std::initializer_list<size_t> sizes) {
        fake::Info& info = fake.platforms[0]->devices[0]->info;
        info[CL_DEVICE_MAX_WORK_ITEM_DIMENSIONS] =
            fake::NumberBytes<cl_uint>({static_cast<cl_uint>(sizes.size())});
        info[CL_DEVICE_MAX_WORK_ITEM_SIZES] = fake::NumberBytes<size_t>(sizes);
    }

    OpenCLTaskRef task;
    OpenCLMemoryObjectRef source;
    OpenCLMemoryObjectRef destination;
};

TEST_F(TaskTest, TheTasksAreRegisteredUnderTheirClasses) {
    std::map<std::string, std::string> found;
    Table<Registry>()->Enumerate(kOpenCLTaskClasses, &found,
                                 [](void* context, const Id& key, const RegistryEntry& entry) {
                                     auto& map = *static_cast<std::map<std::string, std::string>*>(context);
                                     map.emplace(key.GetText(), entry.valueId);
                                 });
    EXPECT_EQ(found["clearmem"], "net.nuvra.opencl.task.clearmem");
    EXPECT_EQ(found["image.invert"], "net.nuvra.opencl.task.invertimage");
}

TEST_F(TaskTest, ClearMemoryMakesItsFourKernelsAndInvertItsOne) {
    ASSERT_EQ(Outcome(cl.context.GetTask(MakeText("clearmem"))), "OK");
    EXPECT_EQ(fake.TextsOf("clBuildProgram"), Texts{"program2, 1, [device1], null, null, null"});
    EXPECT_EQ(Take("clCreateKernel"),
              (Texts{"program2, \"ClearMem16_0\", ptr", "program2, \"ClearMem1_0\", ptr",
                     "program2, \"ClearMem16_v\", ptr", "program2, \"ClearMem1_v\", ptr"}));
    ASSERT_EQ(Outcome(cl.context.GetTask(MakeText("image.invert"))), "OK");
    EXPECT_EQ(fake.TextsOf("clCreateProgramWithSource").size(), 1U);
    EXPECT_EQ(Take("clCreateKernel"), Texts{"program3, \"InvertImage\", ptr"});
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

TEST_F(TaskTest, BadClearRecordsAreRefusedBeforeAnyCall) {
    Get("clearmem");
    const OpenCLMemoryObjectRef empty;
    const std::pair<ClearMemParameters, const char*> cases[] = {
        {{0, &cl.buffer, 4, 0}, "CL_INVALID_VALUE"},
        {{2, &cl.buffer, 4, 0}, "CL_INVALID_VALUE"},
        {{1, nullptr, 4, 0}, "CL_INVALID_VALUE"},
        {{1, &empty, 4, 0}, "CL_INVALID_MEM_OBJECT"},
    };
    EXPECT_EQ(Execute(nullptr), "CL_INVALID_VALUE");
    for (const auto& [parameters, expected] : cases) {
        EXPECT_EQ(Execute(&parameters), expected);
        EXPECT_EQ(fake.calls.size(), 0U);
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
        EXPECT_EQ(fake.launches.size(), 0U);
    }
}

TEST_F(TaskTest, InvertRefusesWhatIsNoImage) {
    Get("image.invert");
    const OpenCLMemoryObjectRef empty;
    const std::pair<InvertImageParameters, const char*> cases[] = {
        {{2, &source, &destination, 0, 0, 1, 1}, "CL_INVALID_VALUE"},
        {{1, nullptr, &destination, 0, 0, 1, 1}, "CL_INVALID_VALUE"},
        {{1, &source, nullptr, 0, 0, 1, 1}, "CL_INVALID_VALUE"},
        {{1, &empty, &destination, 0, 0, 1, 1}, "CL_INVALID_MEM_OBJECT"},
        {{1, &cl.buffer, &destination, 0, 0, 1, 1}, "CL_INVALID_MEM_OBJECT"},
        {{1, &source, &cl.buffer, 0, 0, 1, 1}, "CL_INVALID_MEM_OBJECT"},
    };
    EXPECT_EQ(Execute(nullptr), "CL_INVALID_VALUE");
    for (const bool isLax : {false, true}) {
        fake.answersForAnyMemory = isLax;
        for (const auto& [parameters, expected] : cases) {
            EXPECT_EQ(Execute(&parameters), expected);
            EXPECT_EQ(fake.TextsOf("clSetKernelArg"), Texts());
        }
    }
}

TEST_F(TaskTest, ATaskThatWasNotInitialisedRefusesToRun) {
    for (const char* name : {"clearmem", "image.invert"}) {
        const Class* taskClass = Registry::FindClass(kOpenCLTaskClasses, name);
        const OpenCLTaskRef fresh(Table<ObjectInterface>()->Create(taskClass).GetValue());
        ASSERT_TRUE(fresh);
        const Int64 wrong = 2;
        EXPECT_EQ(Outcome(fresh.Execute(cl.context, cl.queue, &wrong)), "CL_INVALID_VALUE");
        const ClearMemParameters clear{1, &cl.buffer, 4, 0};
        const InvertImageParameters invert{1, &source, &destination, 0, 0, 1, 1};
        const void* parameters = name[0] == 'c' ? static_cast<const void*>(&clear) : &invert;
        EXPECT_EQ(Outcome(fresh.Execute(cl.context, cl.queue, parameters)), "CL_INVALID_PROGRAM");
        EXPECT_EQ(Outcome(fresh.FreeResources(cl.context)), "OK");
        EXPECT_TRUE(fresh.QueryParameter(0, {}).IsEmpty());
        EXPECT_EQ(Outcome(fresh.Init({})), kNullPointer);
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
