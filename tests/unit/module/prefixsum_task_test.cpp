#include "task_fixture.h"

namespace nuvra::test {
namespace {

/// The input is memory1 and the output memory2; the task's own buffers follow in the order of their making.
class PrefixSumTaskTest : public TaskFixture {
protected:
    void SetUp() override {
        TaskFixture::SetUp();
        output = cl.context.CreateBuffer(OpenCLMemoryFlags::READ_WRITE, kLargeSize).GetValue();
        SetDevice(CL_DEVICE_LOCAL_MEM_SIZE, fake::NumberBytes<cl_ulong>({32768}));
        SetGroupSize(256);
    }
    void TearDown() override {
        output = nullptr;
        TaskFixture::TearDown();
    }
    void SetGroupSize(size_t size) {
        SetDevice(CL_DEVICE_MAX_WORK_ITEM_SIZES, fake::NumberBytes<size_t>({size, size, size}));
        SetDevice(CL_DEVICE_MAX_WORK_GROUP_SIZE, fake::NumberBytes<size_t>({size}));
        Grant(size);
    }
    /// What the device grants a kernel.
    void Grant(size_t size) {
        fake.workGroupInfo[CL_KERNEL_WORK_GROUP_SIZE] = fake::NumberBytes<size_t>({size});
    }
    PrefixSumParameters Record(Int64 count, Int64 padded, bool merge = false, UInt32* total = nullptr) {
        return {1, &cl.buffer, &output, padded, count, merge, total};
    }
    std::string Scan(Int64 count, Int64 padded, bool merge = false, UInt32* total = nullptr) {
        const PrefixSumParameters record = Record(count, padded, merge, total);
        return Execute(&record);
    }
    /// The sizes of the buffers that the latest call made.
    std::vector<UInt64> MadeSizes() const {
        std::vector<UInt64> sizes;
        for (const fake::Call& call : fake.calls)
            if (call.name == "clCreateBuffer") sizes.push_back(std::get<std::uint64_t>(call.values[2]));
        return sizes;
    }

    OpenCLMemoryObjectRef output;
};

std::string Word(UInt32 number) {
    return Hex({number});
}

TEST_F(PrefixSumTaskTest, TheFirstBlockAloneIsScannedInOneLaunch) {
    Get("prefixsum");
    const std::string scan = "scanExclusiveLocal1 null [4096] [256] ";
    EXPECT_EQ(Scan(1024, 16384), "OK");
    EXPECT_EQ(fake.LaunchTexts(), Texts{scan + "(memory2, memory1, 2048, " + Word(1024) + ")"});
    EXPECT_EQ(MadeSizes(), std::vector<UInt64>{65536});
    EXPECT_EQ(Scan(5, 16384, true), "OK");
    EXPECT_EQ(fake.LaunchTexts(), (Texts{scan + "(memory4, memory1, 2048, " + Word(1024) + ")",
                                         "mergeResult null [5] null (memory2, memory4, memory1)"}));
}

TEST_F(PrefixSumTaskTest, BlocksChunksAndLevelsAreLaunchedInOrder) {
    Get("prefixsum");
    // memory3: block sums, memory4: the totals of the chunks
    const auto up = [](const std::string& sums) {
        return Texts{
            "scanExclusiveLocal1 null [32768] [256] (" + sums + ", memory1, 2048, " + Word(1024) + ")",
            "scanExclusiveLocal2 null [256] [256] (memory3, " + sums + ", memory1, 2048, " + Word(128) +
                ", " + Word(16) + ")",
            "uniformUpdate1 null [32768] [256] (" + sums + ", memory3)",
            "buildNextBuffer null [8] null (memory4, " + sums + ", memory1, " + Word(16384) + ")",
            "scanExclusiveLocal1 null [256] [256] (memory4, memory4, 2048, " + Word(1024) + ")"};
    };
    Texts expected = up("memory2");
    expected.push_back("addLevel1 null [131072] null (memory2, memory4)");
    EXPECT_EQ(Scan(100000, 131072), "OK");
    EXPECT_EQ(fake.LaunchTexts(), expected);
    EXPECT_EQ(MadeSizes(), (std::vector<UInt64>{65536, 65536}));
    EXPECT_EQ(fake.TextsOf("clFinish"), Texts());

    expected = up("memory5");
    expected.push_back("addLevel2 null [100000] null (memory5, memory4, memory2, memory1)");
    EXPECT_EQ(Scan(100000, 131072, true), "OK");
    EXPECT_EQ(fake.LaunchTexts(), expected);
    EXPECT_EQ(MadeSizes(), std::vector<UInt64>{131072 * 4});
}

TEST_F(PrefixSumTaskTest, AThirdLevelTakesTheTotalsOfTheSecondsChunks) {
    SetGroupSize(1024);
    Get("prefixsum");
    EXPECT_EQ(Scan((1 << 28) + 1, 1 << 29), "OK");
    // memory4 and memory5: values and sums of the second level, memory6: the third
    EXPECT_EQ(MadeSizes(), (std::vector<UInt64>{131072 * 4, 32768 * 4, 32768 * 4, 65536}));
    const Texts launches = fake.LaunchTexts();
    ASSERT_EQ(launches.size(), 11U);
    EXPECT_EQ(launches[1], "scanExclusiveLocal2 null [131072] [1024] (memory3, memory2, memory1, 8192, " +
                               Word(131072) + ", " + Word(4) + ")");
    EXPECT_EQ(Texts(launches.begin() + 7, launches.end()),
              (Texts{"buildNextBuffer null [2] null (memory6, memory5, memory4, " + Word(16384) + ")",
                     "scanExclusiveLocal1 null [1024] [1024] (memory6, memory6, 8192, " + Word(4096) + ")",
                     "addLevel1 null [32768] null (memory5, memory6)",
                     "addLevel1 null [536870912] null (memory2, memory5)"}));
}

TEST_F(PrefixSumTaskTest, BuffersOnlyGrowAndAreReleasedTogether) {
    Get("prefixsum");
    const std::pair<Int64, std::vector<UInt64>> cases[] = {
        {16384, {65536, 65536}}, {32768, {131072, 65536}}, {16384, {}}, {1 << 20, {4194304}}, {32768, {}},
    };
    size_t live = 0;
    for (const auto& [count, sizes] : cases) {
        EXPECT_EQ(Scan(count, count, true), "OK");
        EXPECT_EQ(MadeSizes(), sizes) << count;
        live += sizes.size() - fake.TextsOf("clReleaseMemObject").size();
    }
    EXPECT_EQ(live, 3U);
    fake.calls.clear();
    EXPECT_EQ(Outcome(task.FreeResources(cl.context)), "OK");
    const Texts names = TakeNames();
    EXPECT_EQ(std::count(names.begin(), names.end(), "clReleaseKernel"), 8);
    EXPECT_EQ(std::count(names.begin(), names.end(), "clReleaseProgram"), 1);
    EXPECT_EQ(std::count(names.begin(), names.end(), "clReleaseMemObject"), 3);
    EXPECT_EQ(names.size(), 12U);
}

TEST_F(PrefixSumTaskTest, TheTotalIsTheLastSumPlusTheLastValue) {
    Get("prefixsum");
    UInt32 total = 0;
    EXPECT_EQ(Scan(2, 16384, false, &total), "OK");
    EXPECT_EQ(fake.TextsOf("clEnqueueReadBuffer"), (Texts{"queue1, memory2, 1, 4, 4, ptr, 0, null, null",
                                                          "queue1, memory1, 1, 4, 4, ptr, 0, null, null"}));
    EXPECT_EQ(total, 0xEEEEEEEEU * 2);
    total = 0;
    EXPECT_EQ(Scan(2, 16384, true, &total), "OK");
    EXPECT_EQ(fake.TextsOf("clEnqueueReadBuffer"), Texts{"queue1, memory2, 1, 8, 8, ptr, 0, null, null"});
    EXPECT_EQ(total, 0xEEEEEEEEU * 2);
    total = 7;
    fake.Fail("clEnqueueReadBuffer", CL_OUT_OF_RESOURCES, 2);
    EXPECT_EQ(Scan(2, 16384, false, &total), "CL_OUT_OF_RESOURCES");
    EXPECT_EQ(total, 7U);
}

TEST_F(PrefixSumTaskTest, EachFailureEndsTheCall) {
    SetGroupSize(64);
    Get("prefixsum");
    const auto pairs = Record(20000, 32768, true);
    EXPECT_EQ(FailEachCall(&pairs), 4 + 1 + 6 + 1 + 2 + 1 + 4 + 1 + 4 + 1 + 4 + 1);
    const auto small = Record(100, 16384, true);
    EXPECT_EQ(FailEachCall(&small), 4 + 1 + 3 + 1);
    const auto oneLevel = Record(300, 16384, true);
    EXPECT_EQ(FailEachCall(&oneLevel), 4 + 1 + 6 + 1 + 4 + 1);
    const auto twoLevels = Record(1 << 22, 1 << 22);
    EXPECT_EQ(FailEachCall(&twoLevels), 2 * (4 + 1 + 6 + 1 + 2 + 1) + 4 + 1 + 2 + 1);
}

TEST_F(PrefixSumTaskTest, MemoryThatCannotBeHadEndsTheCallBeforeAnyLaunch) {
    SetGroupSize(64);
    Get("prefixsum");
    for (int failing = 1; failing <= 4; failing++) {
        fake.Fail("clCreateBuffer", CL_MEM_OBJECT_ALLOCATION_FAILURE, 1);
        EXPECT_EQ(Scan(1 << 22, 1 << 22, true), "CL_MEM_OBJECT_ALLOCATION_FAILURE");
        EXPECT_EQ(fake.launches.size(), 0U);
    }
    EXPECT_EQ(Scan(1 << 22, 1 << 22, true), "OK");
}

TEST_F(PrefixSumTaskTest, BadRecordsAreRefusedBeforeAnyCall) {
    Get("prefixsum");
    const std::pair<PrefixSumParameters, const char*> cases[] = {
        {{1, &output, &output, 16384, 5}, "CL_INVALID_VALUE"},
        {Record(0, 16384), "CL_INVALID_VALUE"},
        {Record(-5, 16384), "CL_INVALID_VALUE"},
        {Record(16385, 16384), "CL_INVALID_VALUE"},
        {Record(5, 0), "CL_INVALID_VALUE"},
        {Record(5, 8192), "CL_INVALID_VALUE"},
        {Record(5, 24576), "CL_INVALID_VALUE"},
        {Record(5, INT64_MIN), "CL_INVALID_VALUE"},
        {Record(5, Int64{1} << 32), "CL_INVALID_BUFFER_SIZE"},
    };
    for (const auto& [record, expected] : cases) {
        EXPECT_EQ(Execute(&record), expected) << record.count << " in " << record.paddedCount;
        EXPECT_EQ(fake.calls.size(), 0U);
    }
    const auto record = Record(5, 16384);
    EXPECT_EQ(Outcome(task.Execute(cl.context, {}, &record)), kNullPointer);
}

TEST_F(PrefixSumTaskTest, ThePaddedCountIsAPowerOfTwoOfAtLeastOneChunk) {
    Get("prefixsum");
    const auto ask = [&](Int64 selector, auto value) {
        return ToText(task.QueryParameter(selector, Data::Of(value).GetValue()));
    };
    EXPECT_EQ(ask(0, Int64{1}), "16384");
    EXPECT_EQ(ask(0, std::numeric_limits<Int64>::min()), "16384");
    EXPECT_EQ(ask(0, std::numeric_limits<Int64>::max()), std::to_string(Int64{1} << 62));
    EXPECT_EQ(ask(0, Int64{16384}), "16384");
    EXPECT_EQ(ask(0, Int32{16385}), "32768");
    EXPECT_EQ(ask(0, Int64{1} << 31), "2147483648");
    EXPECT_EQ(ask(0, (Int64{1} << 31) + 1), "4294967296");
    EXPECT_EQ(ask(1, Int64{100}), "none");
    for (const Data& value : {Data::Of(Int64{0}).GetValue(), Data::Of(MakeText("5")).GetValue(), Data()}) {
        const Data answer = task.QueryParameter(0, value);
        ASSERT_NE(answer.Find<Int32>(), nullptr);
        EXPECT_EQ(*answer.Find<Int32>(), 0);
    }
}

TEST_F(PrefixSumTaskTest, TheGroupSizeIsTheLargestPowerOfTwoThatRuns) {
    const struct {
        size_t items;
        size_t group;
        size_t granted;
        cl_ulong localMemory;
        int chosen;
    } cases[] = {
        {1024, 1024, 1024, 32768, 1024},
        {8192, 8192, 8192, 65536, 4096},
        {1000, 1000, 1000, 32768, 512},
        {1024, 256, 1024, 32768, 256},
        {1024, 1024, 100, 32768, 64},
        {1024, 1024, 1024, 4096, 512},
        {64, 64, 64, 512, 64},
        {63, 1024, 1024, 32768, 0},
        {1024, 1024, 63, 32768, 0},
        {1024, 63, 1024, 32768, 0},
        {1024, 1024, 1024, 511, 0},
        // The width of the device's vectors, named for every kernel, is no limit.
        {1024, 1024, 32, 32768, 1024},
    };
    for (const auto& [items, group, granted, localMemory, chosen] : cases) {
        SetDevice(CL_DEVICE_MAX_WORK_ITEM_SIZES, fake::NumberBytes<size_t>({items, 1, 1}));
        SetDevice(CL_DEVICE_MAX_WORK_GROUP_SIZE, fake::NumberBytes<size_t>({group}));
        SetDevice(CL_DEVICE_LOCAL_MEM_SIZE, fake::NumberBytes<cl_ulong>({localMemory}));
        Grant(granted);
        cl.context = OpenCL::CreateContext(Platform(), Devices()).GetValue();
        fake.calls.clear();
        EXPECT_EQ(Outcome(cl.context.GetTask(MakeText("prefixsum"))),
                  chosen == 0 ? "CL_INVALID_WORK_GROUP_SIZE" : "OK");
        if (chosen == 0) continue;
        const std::string options =
            "\"-D WORKGROUP_SIZE=" + std::to_string(chosen) + " -D PREFIX_SUM_ARRAY_SHIFT=14\"";
        EXPECT_NE(fake.TextsOf("clBuildProgram").back().find(options), std::string::npos) << chosen;
    }
}

TEST_F(PrefixSumTaskTest, AGrantOfOneMultipleIsALimitWhereASmallKernelIsGrantedMore) {
    SetGroupSize(1024);
    Grant(32);
    fake.namedWorkGroupInfo["mergeResult"][CL_KERNEL_WORK_GROUP_SIZE] = fake::NumberBytes<size_t>({1024});
    EXPECT_EQ(Outcome(cl.context.GetTask(MakeText("prefixsum"))), "CL_INVALID_WORK_GROUP_SIZE");
}

TEST_F(PrefixSumTaskTest, EveryDeviceOfTheContextMustRunTheGroup) {
    SetGroupSize(1024);
    fake::Object& second = fake.AddDevice(*fake.platforms[0], "Second");
    const auto expectGroups = [&](const char* option, size_t builds) {
        cl.context = OpenCL::CreateContext(Platform(), Devices()).GetValue();
        fake.calls.clear();
        EXPECT_EQ(Outcome(cl.context.GetTask(MakeText("prefixsum"))), "OK");
        ASSERT_EQ(fake.TextsOf("clBuildProgram").size(), builds);
        EXPECT_NE(fake.TextsOf("clBuildProgram").back().find(option), std::string::npos);
    };
    second.info[CL_DEVICE_MAX_WORK_ITEM_SIZES] = fake::NumberBytes<size_t>({512, 1, 1});
    second.info[CL_DEVICE_LOCAL_MEM_SIZE] = fake::NumberBytes<cl_ulong>({32768});
    expectGroups("WORKGROUP_SIZE=512 ", 1);
    second.info[CL_DEVICE_LOCAL_MEM_SIZE] = fake::NumberBytes<cl_ulong>({1024});
    expectGroups("WORKGROUP_SIZE=128 ", 1);
}

TEST_F(PrefixSumTaskTest, AGroupThatCannotBeBuiltIsHalvedAndTheFirstLogToldWhenNoneCan) {
    SetGroupSize(1024);
    fake.Fail("clBuildProgram", CL_BUILD_PROGRAM_FAILURE, 1);
    fake.Fail("clCreateKernel", CL_OUT_OF_RESOURCES, 2);
    fake.workGroupInfo.erase(CL_KERNEL_PREFERRED_WORK_GROUP_SIZE_MULTIPLE);  // unknown to OpenCL 1.0
    EXPECT_EQ(Outcome(cl.context.GetTask(MakeText("prefixsum"))), "OK");
    EXPECT_NE(fake.TextsOf("clBuildProgram").back().find("WORKGROUP_SIZE=256 "), std::string::npos);
    EXPECT_EQ(host->diagnostics, Texts());

    cl.context = OpenCL::CreateContext(Platform(), Devices()).GetValue();
    fake.calls.clear();
    fake.Fail("clBuildProgram", CL_OUT_OF_RESOURCES, 1);
    fake.Fail("clBuildProgram", CL_BUILD_PROGRAM_FAILURE);
    EXPECT_EQ(Outcome(cl.context.GetTask(MakeText("prefixsum"))), "CL_OUT_OF_RESOURCES");
    EXPECT_EQ(fake.TextsOf("clBuildProgram").size(), 5U);
    EXPECT_EQ(host->diagnostics.size(), 1U);
}

TEST_F(PrefixSumTaskTest, AProcessorAddsUpInOneWorkItem) {
    SetDevice(CL_DEVICE_TYPE, fake::NumberBytes<cl_device_type>({CL_DEVICE_TYPE_CPU}));
    ASSERT_EQ(Outcome(cl.context.GetTask(MakeText("prefixsum"))), "OK");
    EXPECT_NE(fake.TextsOf("clBuildProgram")
                  .back()
                  .find("\"-D WORKGROUP_SIZE=256 -D PREFIX_SUM_ARRAY_SHIFT=14 -D SERIAL_SCAN\""),
              std::string::npos);
}

TEST_F(PrefixSumTaskTest, WithoutDevicesThereIsNoTask) {
    fake.allowsNoDevices = true;
    cl.context = OpenCL::CreateContext(Platform(), {}).GetValue();
    EXPECT_EQ(Outcome(cl.context.GetTask(MakeText("prefixsum"))), "CL_DEVICE_NOT_FOUND");
}

TEST_F(PrefixSumTaskTest, QueuesTakeTurns) {
    Get("prefixsum");
    const auto record = Record(5, 16384);
    const OpenCLCommandQueueRef second = cl.context.CreateCommandQueue().GetValue();
    EXPECT_EQ(Execute(&record), "OK");
    EXPECT_EQ(fake.TextsOf("clFinish"), Texts());
    EXPECT_EQ(Execute(&record, second), "OK");
    EXPECT_EQ(fake.TextsOf("clFinish"), Texts{"queue1"});
    EXPECT_EQ(fake.calls[0].name, "clFinish");
    EXPECT_EQ(Execute(&record, second), "OK");
    EXPECT_EQ(fake.TextsOf("clFinish"), Texts());

    const OpenCLCommandQueueRef outOfOrder =
        cl.context.CreateCommandQueue(OpenCLQueueFlags::OUT_OF_ORDER_EXEC_MODE).GetValue();
    const auto pairs = Record(5, 16384, true);
    EXPECT_EQ(Execute(&pairs, outOfOrder), "OK");
    EXPECT_EQ(fake.TextsOf("clFinish"), (Texts{"queue2", "queue3", "queue3"}));
    EXPECT_EQ(fake.calls.back().name, "clFinish");
    fake.Fail("clFinish", CL_OUT_OF_RESOURCES, 2);
    EXPECT_EQ(Execute(&pairs, outOfOrder), "CL_OUT_OF_RESOURCES");
    EXPECT_EQ(fake.launches.size(), 1U);
}

TEST_F(PrefixSumTaskTest, BuffersOfAQueueThatWasReleasedAreReplaced) {
    Get("prefixsum");
    const auto record = Record(5, 16384);
    const OpenCLCommandQueueRef second = cl.context.CreateCommandQueue().GetValue();
    EXPECT_EQ(Execute(&record, second), "OK");
    EXPECT_EQ(Outcome(second.Release()), "OK");
    EXPECT_EQ(Execute(&record), "OK");
    EXPECT_EQ(fake.TextsOf("clReleaseMemObject"), Texts{"memory3"});
    EXPECT_EQ(MadeSizes(), std::vector<UInt64>{65536});
}

}  // namespace
}  // namespace nuvra::test
