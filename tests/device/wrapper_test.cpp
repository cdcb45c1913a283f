#include "device_fixture.h"

namespace nuvra::test {

namespace {

TEST_F(DeviceTest, AFailingBuildLeavesTheCompilersWords) {
    const char* source = "__kernel void Broken(__global int* x) {\n    x[0] = missing;\n}\n";
    const OpenCLProgramRef program = Get(context.CreateProgramWithSource(1, &source));
    EXPECT_EQ(CodeOf(program.Build(context.GetDevices(), nullptr)), CL_BUILD_PROGRAM_FAILURE);
    const std::string log(Get(program.GetBuildLog(context.GetDevices()[0])).GetView());
    EXPECT_NE(log.find("missing"), std::string::npos) << log;
}

TEST_F(DeviceTest, AProgramsBinaryMakesTheSameProgram) {
    const OpenCLProgramRef program =
        BuildProgram("__kernel void Set(__global int* x, int4 v) { x[0] = v.x + v.y + v.z + v.w; }");
    BaseArray<UChar> binary;
    ASSERT_TRUE(IsOk(program.GetBinary(binary)));
    ASSERT_GT(binary.GetCount(), 0);
    const OpenCLProgramRef copy = Get(context.CreateProgramWithBinary(device, binary));
    ASSERT_TRUE(IsOk(copy.Build(context.GetDevices(), nullptr)));
    const OpenCLKernelRef kernel = Get(copy.CreateKernel("Set"));
    EXPECT_EQ(CodeOf(copy.CreateKernel("Get")), CL_INVALID_KERNEL_NAME);
    size_t groupSize = 0;
    EXPECT_TRUE(IsOk(kernel.GetWorkGroupInfo(device, OpenCLWorkGroupInfo::WORK_GROUP_SIZE, sizeof(groupSize),
                                             &groupSize)));
    EXPECT_GE(groupSize, 1U);

    const OpenCLMemoryObjectRef buffer = CreateBuffer(std::vector<UChar>(4));
    const Int32 values[] = {1, 20, 300, 4000};
    const size_t one = 1;
    ASSERT_TRUE(IsOk(kernel.SetArg(0, buffer)));
    ASSERT_TRUE(IsOk(kernel.SetArg(1, values, 4)));
    OpenCLEventRef event;
    ASSERT_TRUE(IsOk(queue.EnqueueNDRangeKernel(kernel, 1, nullptr, &one, nullptr, 0, nullptr, &event)));
    ASSERT_TRUE(IsOk(queue.EnqueueNDRangeKernel(kernel, 1, nullptr, &one, nullptr, 1, &event, &event)));
    ASSERT_TRUE(IsOk(queue.WaitForEvents(1, &event)));
    void* mapped = Get(queue.EnqueueMapBuffer(buffer, true, OpenCLMapFlags::READ, 0, 4));
    ASSERT_NE(mapped, nullptr);
    EXPECT_EQ(*static_cast<Int32*>(mapped), 4321);
    EXPECT_TRUE(IsOk(queue.EnqueueUnmapMemObject(buffer, mapped)));
    EXPECT_TRUE(IsOk(queue.Finish()));
}

/// Run by itself under a simulator, it shows that races would be seen.
TEST_F(DeviceTest, DISABLED_AScanWithoutBarriersRaces) {
    const OpenCLProgramRef program = BuildProgram(
        "__kernel void Shift(__global uint* values) {\n"
        "    __local uint l_Data[64];\n"
        "    uint lid = get_local_id(0);\n"
        "    l_Data[lid] = values[lid];\n"
        "    values[lid] = l_Data[lid ^ 1];\n"
        "}\n");
    const OpenCLKernelRef kernel = Get(program.CreateKernel("Shift"));
    const size_t size = 64;
    ASSERT_TRUE(IsOk(kernel.SetArg(0, CreateBuffer(std::vector<UInt32>(size)))));
    ASSERT_TRUE(IsOk(queue.EnqueueNDRangeKernel(kernel, 1, nullptr, &size, &size)));
    ASSERT_TRUE(IsOk(queue.Finish()));
}

}  // namespace

}  // namespace nuvra::test
