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

    /// Gets the task from a new context, whose last build has the options; 0 builds are any number.
    void ExpectBuild(const std::string& options, size_t builds = 0) {
        cl.context = OpenCL::CreateContext(Platform(), Devices()).GetValue();
        fake.calls.clear();
        EXPECT_EQ(Outcome(cl.context.GetTask(MakeText("prefixsum"))), "OK") << options;
        const Texts texts = fake.TextsOf("clBuildProgram");
        EXPECT_EQ(texts.size(), builds > 0 ? builds : texts.size()) << options;
        ASSERT_FALSE(texts.empty()) << options;
        EXPECT_NE(texts.back().find(options), std::string::npos) << texts.back();
    }

    OpenCLMemoryObjectRef output;
};

TEST_F(PrefixSumTaskTest, ATotalOfWhichHalfIsReadIsNotTold) {
    Get("prefixsum");
    UInt32 total = 7;
    fake.Fail("clEnqueueReadBuffer", CL_OUT_OF_RESOURCES, 2);
    const auto record = Record(2, 16384, false, &total);
    EXPECT_EQ(Execute(&record), "CL_OUT_OF_RESOURCES");
    EXPECT_EQ(total, 7U);
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
    } cases[] = {{1024, 1024, 1024, 32768, 1024},
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
                 {1024, 1024, 32, 32768, 1024}};
    for (const auto& [items, group, granted, localMemory, chosen] : cases) {
        SetDevice(CL_DEVICE_MAX_WORK_ITEM_SIZES, fake::NumberBytes<size_t>({items, 1, 1}));
        SetDevice(CL_DEVICE_MAX_WORK_GROUP_SIZE, fake::NumberBytes<size_t>({group}));
        SetDevice(CL_DEVICE_LOCAL_MEM_SIZE, fake::NumberBytes<cl_ulong>({localMemory}));
        Grant(granted);
        if (chosen != 0) {
            ExpectBuild("\"-D WORKGROUP_SIZE=" + std::to_string(chosen) + " -D PREFIX_SUM_ARRAY_SHIFT=14\"");
            continue;
        }
        cl.context = OpenCL::CreateContext(Platform(), Devices()).GetValue();
        EXPECT_EQ(Outcome(cl.context.GetTask(MakeText("prefixsum"))), "CL_INVALID_WORK_GROUP_SIZE");
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
    second.info[CL_DEVICE_MAX_WORK_ITEM_SIZES] = fake::NumberBytes<size_t>({512, 1, 1});
    second.info[CL_DEVICE_LOCAL_MEM_SIZE] = fake::NumberBytes<cl_ulong>({32768});
    ExpectBuild("WORKGROUP_SIZE=512 ", 1);
    second.info[CL_DEVICE_LOCAL_MEM_SIZE] = fake::NumberBytes<cl_ulong>({1024});
    ExpectBuild("WORKGROUP_SIZE=128 ", 1);
}

TEST_F(PrefixSumTaskTest, AGroupThatCannotBeBuiltIsHalvedAndTheFirstLogToldWhenNoneCan) {
    SetGroupSize(1024);
    fake.Fail("clBuildProgram", CL_BUILD_PROGRAM_FAILURE, 1);
    fake.Fail("clCreateKernel", CL_OUT_OF_RESOURCES, 2);
    fake.workGroupInfo.erase(CL_KERNEL_PREFERRED_WORK_GROUP_SIZE_MULTIPLE);  // unknown to OpenCL 1.0
    ExpectBuild("WORKGROUP_SIZE=256 ", 3);
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
    ExpectBuild("\"-D WORKGROUP_SIZE=256 -D PREFIX_SUM_ARRAY_SHIFT=14 -D SERIAL_SCAN\"");
}

}  // namespace
}  // namespace nuvra::test
