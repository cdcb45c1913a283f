#include <regex>

#include "nuvra/open_cl_task.h"
#include "tracing_fixture.h"

namespace nuvra::test {
namespace {

/// A value as it stands in the trace, without an object's address; empty for a null and a bare address.
std::string Shorten(const Json& value) {
    if (value.is_null()) return "";
    if (value.is_array()) {
        std::string items;
        for (const Json& item : value)
            if (const std::string text = Shorten(item); !text.empty())
                items += (items.empty() ? "" : " ") + text;
        return items.empty() ? "" : '[' + items + ']';
    }
    if (!value.is_string()) return value.dump();
    const std::string text = value;
    return text.starts_with("0x") ? "" : text.substr(0, text.find(" (0x"));
}

/// "clCreateBuffer context#1 CL_MEM_READ_WRITE 64 = buffer#1": a call's values without those that `Shorten`
/// makes empty, the empty wait list and the success.
std::string ShortenCall(const Json& event) {
    const std::string name = event.at("name");
    std::string text = name.substr(0, name.find(' '));
    const auto append = [&](const char* part, const char* separator) {
        const Json values = event.at("args").value(part, Json::object());
        for (const auto& [parameter, value] : values.items()) {
            const std::string item = Shorten(value);
            if (!item.empty() && item != "CL_SUCCESS" && parameter != "num_events_in_wait_list")
                text += separator + item;
        }
    };
    append("arguments", " ");
    append("results", " = ");
    return text + '\n';
}

/// The trace of each task's whole life.
class GoldenTest : public TracingTest {
protected:
    void SetUp() override {
        StartTraced();
        SetDevice(CL_DEVICE_MAX_WORK_ITEM_SIZES, {256, 256, 64});
        SetDevice(CL_DEVICE_MAX_WORK_GROUP_SIZE, {256});
        SetDevice(CL_DEVICE_LOCAL_MEM_SIZE, {32768});
        fake.workGroupInfo[CL_KERNEL_WORK_GROUP_SIZE] = fake::NumberBytes<size_t>({256});
        cl.context = OpenCL::CreateContext(Platform(), Devices()).GetValue();
        cl.queue = cl.context.CreateCommandQueue().GetValue();
        for (int i = 0; i < 2; i++) {
            images[i] = cl.context.CreateImage2D(1, {}, 40, 30).GetValue();
            buffers[i] = cl.context.CreateBuffer(1, 1 << 20).GetValue();
        }
    }
    void TearDown() override {
        for (int i = 0; i < 2; i++) images[i] = buffers[i] = nullptr;
        TracingTest::TearDown();
    }
    void SetDevice(cl_device_info which, std::initializer_list<size_t> values) {
        fake.platforms[0]->devices[0]->info[which] = fake::NumberBytes(values);
    }

    /// All that the task calls from its making to the end of its context. Queries are left out: every
    /// property of a device has several.
    std::string RunTask(const char* key, const void* parameters) {
        GetRecorder().Comment(key);
        {
            const Result<OpenCLTaskRef> task = cl.context.GetTask(MakeText(key));
            EXPECT_EQ(Outcome(task), "OK");
            EXPECT_EQ(Outcome(task.GetValue().Execute(cl.context, cl.queue, parameters)), "OK");
        }
        cl.context = {};
        Finish();
        std::string calls = "\n";
        bool isOfTask = false;
        for (const Json& event : ReadTrace()) {
            if (isOfTask && !event.at("name").get<std::string>().starts_with("clGet"))
                calls += ShortenCall(event);
            isOfTask = isOfTask || event.at("name") == key;
        }
        return calls;
    }

    /// The whole life of a task of one kernel that makes `calls` in between, where "*" stands for the
    /// kernel's name.
    static std::string LifeOf(const std::string& kernel, const std::string& calls) {
        const std::string life =
            "\nclCreateProgramWithSource context#1 1 = program#1\n"
            "clBuildProgram program#1 1 [device#1 Fake device] -cl-fast-relaxed-math\n"
            "clCreateKernel program#1 * = kernel#1 *" +
            calls +
            "clReleaseKernel kernel#1 *\n"
            "clReleaseProgram program#1\n"
            "clReleaseContext context#1\n";
        return std::regex_replace(life, std::regex("\\*"), kernel);
    }

    OpenCLMemoryObjectRef images[2];   ///< image#1 and image#2
    OpenCLMemoryObjectRef buffers[2];  ///< buffer#1 and buffer#2
};

TEST_F(GoldenTest, ClearMemory) {
    const ClearMemParameters record{1, &buffers[0], 35, 0xAB};
    EXPECT_EQ(RunTask("clearmem", &record), R"(
clCreateProgramWithSource context#1 1 = program#1
clBuildProgram program#1 1 [device#1 Fake device]
clCreateKernel program#1 ClearMem16_0 = kernel#1 ClearMem16_0
clCreateKernel program#1 ClearMem1_0 = kernel#2 ClearMem1_0
clCreateKernel program#1 ClearMem16_v = kernel#3 ClearMem16_v
clCreateKernel program#1 ClearMem1_v = kernel#4 ClearMem1_v
clSetKernelArg kernel#3 ClearMem16_v 0 8 cl_mem [buffer#1]
clSetKernelArg kernel#3 ClearMem16_v 1 16 cl_uint [2880154539 2880154539 2880154539 2880154539]
clEnqueueNDRangeKernel queue#1 kernel#3 ClearMem16_v 3 [0 0 0] [2 1 1]
clSetKernelArg kernel#4 ClearMem1_v 0 8 cl_mem [buffer#1]
clSetKernelArg
clEnqueueNDRangeKernel queue#1 kernel#4 ClearMem1_v 3 [32 0 0] [3 1 1]
clReleaseKernel kernel#1 ClearMem16_0
clReleaseKernel kernel#2 ClearMem1_0
clReleaseKernel kernel#3 ClearMem16_v
clReleaseKernel kernel#4 ClearMem1_v
clReleaseProgram program#1
clReleaseContext context#1
)");
}

TEST_F(GoldenTest, Checksum) {
    const Crc32cParameters record{1, &buffers[0], &buffers[1], 9, true};
    EXPECT_EQ(RunTask("crc32c", &record), R"(
clCreateProgramWithSource context#1 1 = program#1
clBuildProgram program#1 1 [device#1 Fake device] -cl-fast-relaxed-math
clCreateKernel program#1 CalculateCRC = kernel#1 CalculateCRC
clCreateBuffer context#1 CL_MEM_READ_WRITE|CL_MEM_COPY_HOST_PTR 1024 = buffer#3
clEnqueueWriteBuffer queue#1 buffer#2 CL_TRUE 0 4
clSetKernelArg kernel#1 CalculateCRC 0 8 cl_mem [buffer#3]
clSetKernelArg kernel#1 CalculateCRC 1 8 cl_mem [buffer#1]
clSetKernelArg kernel#1 CalculateCRC 2 4 cl_int [9]
clSetKernelArg kernel#1 CalculateCRC 3 8 cl_mem [buffer#2]
clEnqueueNDRangeKernel queue#1 kernel#1 CalculateCRC 1 [1]
clReleaseKernel kernel#1 CalculateCRC
clReleaseProgram program#1
clReleaseMemObject buffer#3
clReleaseContext context#1
)");
}

TEST_F(GoldenTest, Invert) {
    const InvertImageParameters record{1, &images[0], &images[1], 10, 20, 5, 4};
    EXPECT_EQ(RunTask("image.invert", &record), LifeOf("InvertImage", R"(
clSetKernelArg kernel#1 * 0 8 cl_mem [image#1]
clSetKernelArg kernel#1 * 1 8 cl_mem [image#2]
clEnqueueNDRangeKernel queue#1 kernel#1 * 2 [10 20] [5 4]
)"));
}

TEST_F(GoldenTest, Gamma) {
    const GammaImageParameters record{1, &images[0], &images[1], 10, 20, 5, 4, 2.2};
    EXPECT_EQ(RunTask("image.gamma", &record), LifeOf("InvertImage", R"(
clSetKernelArg kernel#1 * 0 8 cl_mem [image#1]
clSetKernelArg kernel#1 * 1 8 cl_mem [image#2]
clSetKernelArg kernel#1 * 2 4 cl_float [2.2]
clEnqueueNDRangeKernel queue#1 kernel#1 * 2 [10 20] [5 4]
)"));
}

TEST_F(GoldenTest, Stereo) {
    const StereoSbsParameters record{1, &images[0], &images[0], &images[1], 2, 3, 30, 21};
    EXPECT_EQ(RunTask("image.stereo.sbs", &record), LifeOf("InvertImage", R"(
clSetKernelArg kernel#1 * 0 8 cl_mem [image#1]
clSetKernelArg kernel#1 * 1 8 cl_mem [image#1]
clSetKernelArg kernel#1 * 2 8 cl_mem [image#2]
clEnqueueNDRangeKernel queue#1 kernel#1 * 2 [2 3] [30 21]
)"));
}

TEST_F(GoldenTest, ScaleNearest) {
    const ScaleParameters record{1, &images[0], &images[1], 5, 6, 10, 9, 30, 20, -20, -18};
    EXPECT_EQ(RunTask("image.scalenearest", &record), LifeOf("ScaleNearest", R"(
clSetKernelArg kernel#1 * 0 8 cl_mem [image#1]
clSetKernelArg kernel#1 * 1 8 cl_mem [image#2]
clSetKernelArg kernel#1 * 2 16 cl_int [14 14 11 3]
clSetKernelArg kernel#1 * 3 8 cl_float [-0.5 -0.5]
clEnqueueNDRangeKernel queue#1 kernel#1 * 2 [0 0] [20 18]
)"));
}

TEST_F(GoldenTest, ScaleBicubic) {
    const ScaleParameters record{1, &images[0], &images[1], 1, 2, 20, 10, 3, 4, 10, 20};
    EXPECT_EQ(RunTask("image.scalebicubic", &record), R"(
clCreateProgramWithSource context#1 1 = program#1
clBuildProgram program#1 1 [device#1 Fake device] -cl-fast-relaxed-math
clCreateKernel program#1 ScaleBicubic = kernel#1 ScaleBicubic
clCreateKernel program#1 PrepareBufferPositive = kernel#2 PrepareBufferPositive
clCreateKernel program#1 PrepareBufferNegative = kernel#3 PrepareBufferNegative
clCreateBuffer context#1 CL_MEM_READ_WRITE 480 = buffer#3
clCreateBuffer context#1 CL_MEM_READ_WRITE 80 = buffer#4
clCreateBuffer context#1 CL_MEM_READ_WRITE 320 = buffer#5
clCreateBuffer context#1 CL_MEM_READ_WRITE 160 = buffer#6
clSetKernelArg kernel#2 PrepareBufferPositive 0 8 cl_mem [buffer#4]
clSetKernelArg kernel#2 PrepareBufferPositive 1 8 cl_mem [buffer#3]
clSetKernelArg kernel#2 PrepareBufferPositive 2 4 cl_float [2]
clSetKernelArg kernel#2 PrepareBufferPositive 3 4 cl_float [0.5]
clSetKernelArg kernel#2 PrepareBufferPositive 4 4 cl_int [1]
clSetKernelArg kernel#2 PrepareBufferPositive 5 4 cl_int [19]
clSetKernelArg kernel#2 PrepareBufferPositive 6 4 cl_int [12]
clSetKernelArg kernel#2 PrepareBufferPositive 7 4 cl_float [4]
clEnqueueNDRangeKernel queue#1 kernel#2 PrepareBufferPositive 1 [10]
clSetKernelArg kernel#2 PrepareBufferPositive 0 8 cl_mem [buffer#6]
clSetKernelArg kernel#2 PrepareBufferPositive 1 8 cl_mem [buffer#5]
clSetKernelArg kernel#2 PrepareBufferPositive 2 4 cl_float [0.5]
clSetKernelArg kernel#2 PrepareBufferPositive 3 4 cl_float [2]
clSetKernelArg kernel#2 PrepareBufferPositive 4 4 cl_int [2]
clSetKernelArg kernel#2 PrepareBufferPositive 5 4 cl_int [9]
clSetKernelArg kernel#2 PrepareBufferPositive 6 4 cl_int [4]
clSetKernelArg kernel#2 PrepareBufferPositive 7 4 cl_float [1]
clEnqueueNDRangeKernel queue#1 kernel#2 PrepareBufferPositive 1 [20]
clSetKernelArg kernel#1 ScaleBicubic 0 8 cl_mem [image#1]
clSetKernelArg kernel#1 ScaleBicubic 1 8 cl_mem [image#2]
clSetKernelArg kernel#1 ScaleBicubic 2 8 cl_mem [buffer#4]
clSetKernelArg kernel#1 ScaleBicubic 3 8 cl_mem [buffer#6]
clSetKernelArg kernel#1 ScaleBicubic 4 8 cl_mem [buffer#3]
clSetKernelArg kernel#1 ScaleBicubic 5 8 cl_mem [buffer#5]
clSetKernelArg kernel#1 ScaleBicubic 6 4 cl_int [3]
clSetKernelArg kernel#1 ScaleBicubic 7 4 cl_int [4]
clSetKernelArg kernel#1 ScaleBicubic 8 8 cl_int [3 4]
clEnqueueNDRangeKernel queue#1 kernel#1 ScaleBicubic 2 [0 0] [10 20]
clReleaseKernel kernel#1 ScaleBicubic
clReleaseKernel kernel#2 PrepareBufferPositive
clReleaseKernel kernel#3 PrepareBufferNegative
clReleaseProgram program#1
clReleaseMemObject buffer#3
clReleaseMemObject buffer#4
clReleaseMemObject buffer#5
clReleaseMemObject buffer#6
clReleaseContext context#1
)");
}

TEST_F(GoldenTest, PrefixSum) {
    UInt32 total = 0;
    const PrefixSumParameters record{1, &buffers[0], &buffers[1], 131072, 100000, false, &total};
    EXPECT_EQ(RunTask("prefixsum", &record), R"(
clCreateProgramWithSource context#1 1 = program#1
clBuildProgram program#1 1 [device#1 Fake device] -D WORKGROUP_SIZE=256 -D PREFIX_SUM_ARRAY_SHIFT=14
clCreateKernel program#1 scanExclusiveLocal1 = kernel#1 scanExclusiveLocal1
clCreateKernel program#1 scanExclusiveLocal2 = kernel#2 scanExclusiveLocal2
clCreateKernel program#1 uniformUpdate1 = kernel#3 uniformUpdate1
clCreateKernel program#1 uniformUpdate2 = kernel#4 uniformUpdate2
clCreateKernel program#1 mergeResult = kernel#5 mergeResult
clCreateKernel program#1 buildNextBuffer = kernel#6 buildNextBuffer
clCreateKernel program#1 addLevel1 = kernel#7 addLevel1
clCreateKernel program#1 addLevel2 = kernel#8 addLevel2
clCreateBuffer context#1 CL_MEM_READ_WRITE 65536 = buffer#3
clCreateBuffer context#1 CL_MEM_READ_WRITE 65536 = buffer#4
clSetKernelArg kernel#1 scanExclusiveLocal1 0 8 cl_mem [buffer#2]
clSetKernelArg kernel#1 scanExclusiveLocal1 1 8 cl_mem [buffer#1]
clSetKernelArg kernel#1 scanExclusiveLocal1 2 2048 cl_mem
clSetKernelArg kernel#1 scanExclusiveLocal1 3 4 cl_uint [1024]
clEnqueueNDRangeKernel queue#1 kernel#1 scanExclusiveLocal1 1 [32768] [256]
clSetKernelArg kernel#2 scanExclusiveLocal2 0 8 cl_mem [buffer#3]
clSetKernelArg kernel#2 scanExclusiveLocal2 1 8 cl_mem [buffer#2]
clSetKernelArg kernel#2 scanExclusiveLocal2 2 8 cl_mem [buffer#1]
clSetKernelArg kernel#2 scanExclusiveLocal2 3 2048 cl_mem
clSetKernelArg kernel#2 scanExclusiveLocal2 4 4 cl_uint [128]
clSetKernelArg kernel#2 scanExclusiveLocal2 5 4 cl_uint [16]
clEnqueueNDRangeKernel queue#1 kernel#2 scanExclusiveLocal2 1 [256] [256]
clSetKernelArg kernel#3 uniformUpdate1 0 8 cl_mem [buffer#2]
clSetKernelArg kernel#3 uniformUpdate1 1 8 cl_mem [buffer#3]
clEnqueueNDRangeKernel queue#1 kernel#3 uniformUpdate1 1 [32768] [256]
clSetKernelArg kernel#6 buildNextBuffer 0 8 cl_mem [buffer#4]
clSetKernelArg kernel#6 buildNextBuffer 1 8 cl_mem [buffer#2]
clSetKernelArg kernel#6 buildNextBuffer 2 8 cl_mem [buffer#1]
clSetKernelArg kernel#6 buildNextBuffer 3 4 cl_uint [16384]
clEnqueueNDRangeKernel queue#1 kernel#6 buildNextBuffer 1 [8]
clSetKernelArg kernel#1 scanExclusiveLocal1 0 8 cl_mem [buffer#4]
clSetKernelArg kernel#1 scanExclusiveLocal1 1 8 cl_mem [buffer#4]
clSetKernelArg kernel#1 scanExclusiveLocal1 2 2048 cl_mem
clSetKernelArg kernel#1 scanExclusiveLocal1 3 4 cl_uint [1024]
clEnqueueNDRangeKernel queue#1 kernel#1 scanExclusiveLocal1 1 [256] [256]
clSetKernelArg kernel#7 addLevel1 0 8 cl_mem [buffer#2]
clSetKernelArg kernel#7 addLevel1 1 8 cl_mem [buffer#4]
clEnqueueNDRangeKernel queue#1 kernel#7 addLevel1 1 [131072]
clEnqueueReadBuffer queue#1 buffer#2 CL_TRUE 399996 4
clEnqueueReadBuffer queue#1 buffer#1 CL_TRUE 399996 4
clReleaseKernel kernel#1 scanExclusiveLocal1
clReleaseKernel kernel#2 scanExclusiveLocal2
clReleaseKernel kernel#3 uniformUpdate1
clReleaseKernel kernel#4 uniformUpdate2
clReleaseKernel kernel#5 mergeResult
clReleaseKernel kernel#6 buildNextBuffer
clReleaseKernel kernel#7 addLevel1
clReleaseKernel kernel#8 addLevel2
clReleaseProgram program#1
clReleaseMemObject buffer#3
clReleaseMemObject buffer#4
clReleaseContext context#1
)");
}

}  // namespace
}  // namespace nuvra::test
