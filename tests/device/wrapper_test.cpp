#include "device_fixture.h"

namespace nuvra::test {

namespace {

TEST_F(DeviceTest, ARangeCutByLimitsRunsEachIndexOnce) {
    const OpenCLProgramRef program = BuildProgram(
        "__kernel void Count(__global int* counts) {\n"
        "    size_t i = get_global_id(0) + get_global_size(0) * (get_global_id(1) + get_global_size(1) * "
        "get_global_id(2));\n"
        "    atomic_inc(counts + i);\n"
        "}\n");
    const OpenCLKernelRef kernel = Get(program.CreateKernel("Count"));
    // The limits, the group's size, the first index and the count.
    const std::tuple<std::array<size_t, 3>, size_t, size_t, size_t> cases[] = {
        {{4, 2, 2}, 0, 10, 37},
        {{4, 2, 2}, 2, 10, 37},
        {{8, 1, 1}, 4, 0, 100},
        {{1024, 16, 0}, 0, 3, 50000},
        {{SIZE_MAX, SIZE_MAX, 4}, 0, 5, 1000},
        {{64, 64, 64}, 64, 1, 5000},
    };
    for (const auto& [limits, group, offset, count] : cases) {
        const OpenCLMemoryObjectRef buffer = CreateBuffer(std::vector<Int32>(offset + count + 16));
        ASSERT_TRUE(IsOk(kernel.SetArg(0, buffer)));
        const auto launched =
            group == 0 ? queue.EnqueueRange(kernel, limits.data(), offset, count)
                       : queue.EnqueueGroupedRange(kernel, group, kernel, limits.data(), offset, count);
        ASSERT_TRUE(IsOk(launched));
        const auto counts = ReadBuffer<Int32>(buffer, offset + count + 16);
        for (size_t i = 0; i < counts.size(); i++)
            ASSERT_EQ(counts[i], i >= offset && i < offset + count)
                << i << " of " << count << " in " << limits[0];
    }
}

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

TEST_F(DeviceTest, ImagesAnswerForTheirShapeAndBuffersDoNot) {
    const OpenCLMemoryObjectRef image = CreateImage(OpenCLChannelDataType::FLOAT, 5, 3);
    const auto number = [&](UInt32 which) { return *image.GetImageInfo(which).Find<Int64>(); };
    EXPECT_EQ(*image.GetImageInfo(OpenCLImageInfo::FORMAT).Find<OpenCLImageFormat>(),
              (OpenCLImageFormat{OpenCLChannelOrder::RGBA, OpenCLChannelDataType::FLOAT}));
    EXPECT_EQ(number(OpenCLImageInfo::ELEMENT_SIZE), 16);
    EXPECT_EQ(number(OpenCLImageInfo::WIDTH), 5);
    EXPECT_EQ(number(OpenCLImageInfo::HEIGHT), 3);
    EXPECT_EQ(number(OpenCLImageInfo::DEPTH), 0);
    EXPECT_TRUE(image.GetImageInfo(7).IsEmpty());
    const OpenCLMemoryObjectRef buffer = CreateBuffer(std::vector<UChar>(4));
    EXPECT_TRUE(buffer.GetImageInfo(OpenCLImageInfo::WIDTH).IsEmpty());
    const OpenCLMemoryObjectRef volume =
        Get(context.CreateImage3D(OpenCLMemoryFlags::READ_ONLY,
                                  {OpenCLChannelOrder::RGBA, OpenCLChannelDataType::UNORM_INT8}, 4, 3, 2));
    EXPECT_EQ(*volume.GetImageInfo(OpenCLImageInfo::DEPTH).Find<Int64>(), 2);
    BaseArray<OpenCLImageFormat> formats;
    ASSERT_TRUE(IsOk(
        context.GetSupportedImageFormats(OpenCLMemoryFlags::READ_WRITE, OpenCLImageType::IMAGE2D, formats)));
    EXPECT_GT(formats.GetCount(), 4);
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
