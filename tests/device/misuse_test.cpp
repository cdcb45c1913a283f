#include "device_fixture.h"

namespace nuvra::test {

namespace {

/// What a caller may do wrong. Some runtime or other dies of each, so that the code must come before the
/// call.
class MisuseTest : public DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        program = BuildProgram("__kernel void Set(__global int* x) { x[0] = 1; }");
        kernel = Get(program.CreateKernel("Set"));
        releasedKernel = Get(program.CreateKernel("Set"));
        buffer = CreateBuffer(std::vector<UChar>(64));
        image = CreateImage(OpenCLChannelDataType::UNORM_INT8, 4, 4);
        volume = Get(context.CreateImage3D(OpenCLMemoryFlags::READ_WRITE,
                                           {OpenCLChannelOrder::RGBA, OpenCLChannelDataType::UNORM_INT8}, 4,
                                           4, 2));
        releasedBuffer = CreateBuffer(std::vector<UChar>(64));
        releasedQueue = Get(context.CreateCommandQueue());
        ASSERT_TRUE(IsOk(kernel.SetArg(0, buffer)));
        for (const Result<void>& result :
             {releasedKernel.Release(), releasedBuffer.Release(), releasedQueue.Release()})
            ASSERT_TRUE(IsOk(result));
        // A failed enqueue leaves an event object without an event.
        ASSERT_FALSE(
            queue.EnqueueNDRangeKernel(kernel, 4, nullptr, one, nullptr, 0, nullptr, &noEvent).IsOk());
        ASSERT_TRUE(noEvent);
    }

    /// The outcome of each operation on memory.
    std::vector<bool> Transfer(const OpenCLCommandQueueRef& on, const OpenCLMemoryObjectRef& memory,
                               Int waitCount) {
        const OpenCLEventRef* list = &noEvent;
        return {
            on.EnqueueReadBuffer(memory, true, 0, 4, bytes, waitCount, list).IsOk(),
            on.EnqueueWriteBuffer(memory, true, 0, 4, bytes, waitCount, list).IsOk(),
            Unmap(on, memory, on.EnqueueMapBuffer(memory, true, 1, 0, 4, waitCount, list)),
            on.EnqueueReadImage(memory, true, zero, one, 0, 0, bytes, waitCount, list).IsOk(),
            on.EnqueueWriteImage(memory, true, zero, one, 0, 0, bytes, waitCount, list).IsOk(),
            Unmap(on, memory,
                  on.EnqueueMapImage(memory, true, 1, zero, one, &pitch, &pitch, waitCount, list)),
        };
    }
    static bool Unmap(const OpenCLCommandQueueRef& on, const OpenCLMemoryObjectRef& memory,
                      const Result<void*>& mapped) {
        return mapped.IsOk() && on.EnqueueUnmapMemObject(memory, mapped.GetValue()).IsOk();
    }

    OpenCLProgramRef program;
    OpenCLKernelRef kernel;
    OpenCLKernelRef releasedKernel;
    OpenCLMemoryObjectRef buffer;
    OpenCLMemoryObjectRef image;
    OpenCLMemoryObjectRef volume;
    OpenCLMemoryObjectRef releasedBuffer;
    OpenCLCommandQueueRef releasedQueue;
    OpenCLEventRef noEvent;
    const size_t one[4] = {1, 1, 1, 1};
    const size_t zero[3] = {};
    size_t pitch = 0;
    Int32 bytes[16] = {};
};

TEST_F(MisuseTest, TransfersAnswerOnAnyQueueMemoryAndWaitList) {
    for (const OpenCLCommandQueueRef& on : {queue, releasedQueue, OpenCLCommandQueueRef()}) {
        for (const OpenCLMemoryObjectRef& memory :
             {buffer, image, volume, releasedBuffer, OpenCLMemoryObjectRef()}) {
            for (const Int waitCount : {0, 1}) {
                const bool isGood = on == queue && waitCount == 0;
                const bool forBuffers = isGood && memory == buffer;
                const bool forImages = isGood && (memory == image || memory == volume);
                EXPECT_EQ(
                    Transfer(on, memory, waitCount),
                    (std::vector<bool>{forBuffers, forBuffers, forBuffers, forImages, forImages, forImages}));
            }
        }
        EXPECT_EQ(on.Finish().IsOk(), on == queue);
    }
    EXPECT_FALSE(queue.EnqueueUnmapMemObject(releasedBuffer, bytes).IsOk());
}

TEST_F(MisuseTest, EachMistakeHasItsCode) {
    const auto asError = [](const auto& result) { return result.GetError(); };
    const char* source = "__kernel void Unbuilt() {}";
    const OpenCLProgramRef unbuilt = Get(context.CreateProgramWithSource(1, &source));
    BaseArray<cl_device_id> nullDevice;
    BaseArray<UChar> binary;
    ASSERT_TRUE(IsOk(nullDevice.Append(nullptr)));
    const std::tuple<const char*, Int32, ErrorRef> cases[] = {
        {"a released kernel", CL_INVALID_KERNEL,
         asError(queue.EnqueueNDRangeKernel(releasedKernel, 1, nullptr, one, nullptr))},
        {"its range", CL_INVALID_KERNEL, asError(queue.EnqueueRange(releasedKernel, nullptr, 0, 1))},
        {"its groups", CL_INVALID_KERNEL,
         asError(queue.EnqueueGroupedRange(kernel, 1, releasedKernel, nullptr, 0, 1))},
        {"a launch behind no event", CL_INVALID_EVENT_WAIT_LIST,
         asError(queue.EnqueueNDRangeKernel(kernel, 1, nullptr, one, nullptr, 1, &noEvent))},
        {"no event", CL_INVALID_EVENT, asError(queue.WaitForEvents(1, &noEvent))},
        {"an OpenGL buffer", CL_INVALID_CONTEXT, asError(context.CreateFromGLBuffer(1, 1))},
        {"an OpenGL texture", CL_INVALID_CONTEXT, asError(context.CreateFromGLTexture2D(1, 3553, 0, 1))},
        {"acquiring", CL_INVALID_CONTEXT, asError(queue.EnqueueAcquireGLObjects(0, nullptr))},
        {"handing back", CL_INVALID_CONTEXT, asError(queue.EnqueueReleaseGLObjects(1, &buffer))},
        {"no sources", CL_INVALID_VALUE, asError(context.CreateProgramWithSource(2, nullptr))},
        {"a null device", CL_INVALID_DEVICE, asError(unbuilt.Build(nullDevice, nullptr))},
        {"an unbuilt program's binary", CL_INVALID_PROGRAM_EXECUTABLE, asError(unbuilt.GetBinary(binary))},
        {"an unbuilt program's kernel", CL_INVALID_PROGRAM_EXECUTABLE,
         asError(unbuilt.CreateKernel("Unbuilt"))},
        {"reading beyond all numbers", CL_INVALID_VALUE,
         asError(queue.EnqueueReadBuffer(buffer, true, SIZE_MAX, 2, bytes))},
        {"writing there", CL_INVALID_VALUE,
         asError(queue.EnqueueWriteBuffer(buffer, true, 8, SIZE_MAX, bytes))},
        {"mapping there", CL_INVALID_VALUE, asError(queue.EnqueueMapBuffer(buffer, true, 1, 8, SIZE_MAX))},
        {"an argument of a released kernel", CL_INVALID_KERNEL, asError(releasedKernel.SetArg(0, buffer))},
        {"released memory", CL_INVALID_MEM_OBJECT, asError(kernel.SetArg(0, releasedBuffer))},
        {"releasing it again", CL_INVALID_MEM_OBJECT, asError(releasedBuffer.Release())},
        {"a buffer of no bytes", CL_INVALID_BUFFER_SIZE,
         asError(context.CreateBuffer(OpenCLMemoryFlags::READ_WRITE, 0))},
    };
    for (const auto& [what, code, error] : cases)
        EXPECT_EQ(OpenCLErrorRef(error).GetErrorCode(), code) << what;
    EXPECT_TRUE(releasedBuffer.GetImageInfo(OpenCLImageInfo::WIDTH).IsEmpty());
    EXPECT_TRUE(IsOk(queue.EnqueueNDRangeKernel(kernel, 1, nullptr, one, nullptr)));
    EXPECT_TRUE(IsOk(queue.Finish()));
}

TEST_F(MisuseTest, TasksRefuseWhatTheirMemoryDoesNotHold) {
    const OpenCLMemoryObjectRef word = CreateBuffer(std::vector<UChar>(4));
    const OpenCLMemoryObjectRef other = CreateImage(OpenCLChannelDataType::UNORM_INT8, 4, 4);
    const ClearMemParameters clear{1, &word, Int64{64} << 20, 1};
    const ClearMemParameters clearImage{1, &image, 4, 1};
    const Crc32cParameters crc{1, &word, &word, INT32_MAX, true};
    const PrefixSumParameters sums{1, &buffer, &word, 16384, 9};
    const InvertImageParameters invert{1, &volume, &image, 0, 0, 1, 1};
    // Its taps would not fit into 32 bits.
    const ScaleParameters scale{1, &image, &other, 0, 0, 1 << 30, 1, 0, 0, 2, 1};
    const std::tuple<const char*, Int32, const void*> cases[] = {
        {"clearmem", CL_INVALID_BUFFER_SIZE, &clear},     {"clearmem", CL_INVALID_MEM_OBJECT, &clearImage},
        {"crc32c", CL_INVALID_BUFFER_SIZE, &crc},         {"prefixsum", CL_INVALID_BUFFER_SIZE, &sums},
        {"image.invert", CL_INVALID_MEM_OBJECT, &invert}, {"image.scalebicubic", CL_INVALID_VALUE, &scale},
    };
    for (const auto& [name, code, record] : cases)
        EXPECT_EQ(CodeOf(GetTask(name).Execute(context, queue, record)), code) << name;
    EXPECT_TRUE(IsOk(queue.Finish()));
}

}  // namespace

}  // namespace nuvra::test
