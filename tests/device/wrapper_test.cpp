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

/// Some runtime or other dies of each of these, so that the code must come before the call.
TEST_F(DeviceTest, AMistakeIsAnErrorAndHarmsNothing) {
    const OpenCLProgramRef program = BuildProgram("__kernel void Set(__global int* x) { x[0] = 1; }");
    const OpenCLKernelRef kernel = Get(program.CreateKernel("Set"));
    const OpenCLKernelRef released = Get(program.CreateKernel("Set"));
    const OpenCLMemoryObjectRef buffer = CreateBuffer(std::vector<Int32>(16));
    const OpenCLMemoryObjectRef gone = CreateBuffer(std::vector<Int32>(16));
    const OpenCLMemoryObjectRef image = CreateImage(OpenCLChannelDataType::UNORM_INT8, 4, 4);
    ASSERT_TRUE(IsOk(released.Release()) && IsOk(gone.Release()) && IsOk(kernel.SetArg(0, buffer)));
    const size_t one[] = {1, 1, 1, 1};
    OpenCLEventRef noEvent;
    EXPECT_FALSE(queue.EnqueueNDRangeKernel(kernel, 4, nullptr, one, nullptr, 0, nullptr, &noEvent).IsOk());
    ASSERT_TRUE(noEvent);
    const char* source = "__kernel void Unbuilt() {}";
    const OpenCLProgramRef unbuilt = Get(context.CreateProgramWithSource(1, &source));
    Int32 bytes[16];
    EXPECT_EQ(CodeOf(queue.EnqueueNDRangeKernel(released, 1, nullptr, one, nullptr)), CL_INVALID_KERNEL);
    EXPECT_EQ(CodeOf(queue.EnqueueNDRangeKernel(kernel, 1, nullptr, one, nullptr, 1, &noEvent)),
              CL_INVALID_EVENT_WAIT_LIST);
    EXPECT_EQ(CodeOf(queue.WaitForEvents(1, &noEvent)), CL_INVALID_EVENT);
    EXPECT_EQ(CodeOf(queue.EnqueueReleaseGLObjects(1, &buffer)), CL_INVALID_CONTEXT);
    EXPECT_EQ(CodeOf(unbuilt.CreateKernel("Unbuilt")), CL_INVALID_PROGRAM_EXECUTABLE);
    EXPECT_EQ(CodeOf(released.SetArg(0, buffer)), CL_INVALID_KERNEL);
    EXPECT_EQ(CodeOf(kernel.SetArg(0, gone)), CL_INVALID_MEM_OBJECT);
    EXPECT_EQ(CodeOf(queue.EnqueueReadBuffer(buffer, true, SIZE_MAX, 2, bytes)), CL_INVALID_VALUE);
    EXPECT_FALSE(queue.EnqueueReadBuffer(image, true, 0, 4, bytes).IsOk());
    EXPECT_FALSE(queue.EnqueueWriteImage(buffer, true, kOrigin, one, 0, 0, bytes).IsOk());
    EXPECT_TRUE(IsOk(queue.EnqueueNDRangeKernel(kernel, 1, nullptr, one, nullptr)));
    EXPECT_EQ(ReadBuffer<Int32>(buffer, 1), std::vector<Int32>{1});
}

}  // namespace

}  // namespace nuvra::test
