#include "task_fixture.h"

namespace nuvra::test {
namespace {

class PrefixSumTaskTest : public TaskFixture {
protected:
    void SetUp() override {
        TaskFixture::SetUp();
        output = cl.context.CreateBuffer(1, bufferSize).GetValue();
        Limit(256, 256, 256);
    }
    void TearDown() override {
        output = nullptr;
        TaskFixture::TearDown();
    }
    /// The device's limits, and what it grants the kernels that are made next.
    void Limit(size_t items, size_t group, size_t granted, cl_ulong localMemory = 32768) {
        SetDevice(CL_DEVICE_MAX_WORK_ITEM_SIZES, fake::NumberBytes<size_t>({items, 1, 1}));
        SetDevice(CL_DEVICE_MAX_WORK_GROUP_SIZE, fake::NumberBytes<size_t>({group}));
        SetDevice(CL_DEVICE_LOCAL_MEM_SIZE, fake::NumberBytes<cl_ulong>({localMemory}));
        fake.workGroupInfo[CL_KERNEL_WORK_GROUP_SIZE] = fake::NumberBytes<size_t>({granted});
    }
    /// Gets the task from a new context: the group size of its last build, or the failure.
    std::string Build() {
        const std::string outcome = GetAnew("prefixsum");
        builds = fake.TextsOf("clBuildProgram");
        if (outcome != "OK") return outcome;
        const std::string& last = builds.back();
        const size_t size = last.find("\"-D WORKGROUP_SIZE=") + 19;
        return last.substr(size, last.find(" -D PREFIX_SUM_ARRAY_SHIFT=14", size) - size);
    }

    OpenCLMemoryObjectRef output;
    Texts builds;
};

TEST_F(PrefixSumTaskTest, BadCountsAreRefusedBeforeAnyCallAndHalfATotalIsNotTold) {
    Get("prefixsum");
    const std::tuple<Int64, Int64, const char*> cases[] = {
        {0, 16384, "CL_INVALID_VALUE"},     {-5, 16384, "CL_INVALID_VALUE"},
        {16385, 16384, "CL_INVALID_VALUE"}, {5, 0, "CL_INVALID_VALUE"},
        {5, 8192, "CL_INVALID_VALUE"},      {5, 24576, "CL_INVALID_VALUE"},
        {5, INT64_MIN, "CL_INVALID_VALUE"}, {5, Int64{1} << 32, "CL_INVALID_BUFFER_SIZE"},
        {5, Int64{1} << 31, "OK"}};
    for (const auto& [count, padded, outcome] : cases) {
        const PrefixSumParameters record{1, &cl.buffer, &output, padded, count};
        Expect(&record, outcome, std::to_string(count) + " in " + std::to_string(padded));
    }
    UInt32 total = 7;
    const PrefixSumParameters record{1, &cl.buffer, &output, 16384, 5, false, &total};
    EXPECT_EQ(Outcome(task.Execute(cl.context, {}, &record)), kNullPointer);
    fake.Fail("clEnqueueReadBuffer", CL_OUT_OF_RESOURCES, 2);
    EXPECT_EQ(Outcome(task.Execute(cl.context, cl.queue, &record)), "CL_OUT_OF_RESOURCES");
    EXPECT_EQ(total, 7U);
}

TEST_F(PrefixSumTaskTest, ThePaddedCountIsAPowerOfTwoOfAtLeastOneChunk) {
    Get("prefixsum");
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

TEST_F(PrefixSumTaskTest, TheGroupSizeIsTheLargestPowerOfTwoThatRuns) {
    const struct {
        size_t items;
        size_t group;
        size_t granted;
        cl_ulong localMemory;
        const char* chosen;
    } cases[] = {{8192, 8192, 8192, 65536, "4096"},
                 {1000, 1024, 1024, 32768, "512"},
                 {1024, 256, 1024, 32768, "256"},
                 {1024, 1024, 100, 32768, "64"},
                 {1024, 1024, 1024, 4096, "512"},
                 {64, 64, 64, 512, "64"},
                 {63, 1024, 1024, 32768, "CL_INVALID_WORK_GROUP_SIZE"},
                 {1024, 1024, 63, 32768, "CL_INVALID_WORK_GROUP_SIZE"},
                 {1024, 63, 1024, 32768, "CL_INVALID_WORK_GROUP_SIZE"},
                 {1024, 1024, 1024, 511, "CL_INVALID_WORK_GROUP_SIZE"},
                 // The width of the device's vectors, named for every kernel, is no limit.
                 {1024, 1024, 32, 32768, "1024"}};
    for (const auto& [items, group, granted, localMemory, chosen] : cases) {
        Limit(items, group, granted, localMemory);
        EXPECT_EQ(Build(), chosen);
    }
    // It is one where a small kernel is granted more, or the others less.
    for (const auto& [ofSmall, ofOthers] : {std::pair(1024, 32), {32, 31}}) {
        fake.intercept = [&, most = ofSmall, least = ofOthers](const fake::Call& call) {
            const bool isSmall = call.values[1] == fake::Value(std::string("mergeResult"));
            if (call.name == "clCreateKernel") Limit(1024, 1024, isSmall ? most : least);
            return CL_SUCCESS;
        };
        EXPECT_EQ(Build(), "CL_INVALID_WORK_GROUP_SIZE");
    }
}

TEST_F(PrefixSumTaskTest, EveryDeviceOfTheContextMustRunTheGroup) {
    fake::Object& second = fake.AddDevice(*fake.platforms[0], "Second");
    second.info[CL_DEVICE_MAX_WORK_ITEM_SIZES] = fake::NumberBytes<size_t>({512, 1, 1});
    const std::tuple<size_t, cl_ulong, const char*> cases[] = {
        {256, 32768, "256"}, {1024, 32768, "512"}, {1024, 1024, "128"}};
    for (const auto& [items, localMemory, chosen] : cases) {
        Limit(items, 1024, 1024);
        second.info[CL_DEVICE_LOCAL_MEM_SIZE] = fake::NumberBytes<cl_ulong>({localMemory});
        EXPECT_EQ(Build(), chosen);
        EXPECT_EQ(builds.size(), 1U);
    }
}

TEST_F(PrefixSumTaskTest, AGroupThatCannotBeBuiltIsHalvedAndTheFirstLogToldWhenNoneCan) {
    Limit(1024, 1024, 1024);
    fake.Fail("clBuildProgram", CL_BUILD_PROGRAM_FAILURE, 1);
    fake.Fail("clCreateKernel", CL_OUT_OF_RESOURCES, 2);
    fake.workGroupInfo.erase(CL_KERNEL_PREFERRED_WORK_GROUP_SIZE_MULTIPLE);  // unknown to OpenCL 1.0
    EXPECT_EQ(Build(), "256");
    EXPECT_EQ(builds.size(), 3U);
    EXPECT_EQ(host->diagnostics, Texts());

    fake.Fail("clBuildProgram", CL_OUT_OF_RESOURCES, 1);
    fake.Fail("clBuildProgram", CL_BUILD_PROGRAM_FAILURE);
    EXPECT_EQ(Build(), "CL_OUT_OF_RESOURCES");
    EXPECT_EQ(builds.size(), 5U);
    EXPECT_EQ(host->diagnostics.size(), 1U);
}

TEST_F(PrefixSumTaskTest, AProcessorAddsUpInOneWorkItem) {
    SetDevice(CL_DEVICE_TYPE, fake::NumberBytes<cl_device_type>({CL_DEVICE_TYPE_CPU}));
    EXPECT_EQ(Build(), "256");
    EXPECT_TRUE(builds.back().find("=14 -D SERIAL_SCAN\"") != std::string::npos) << builds.back();
}

}  // namespace
}  // namespace nuvra::test
