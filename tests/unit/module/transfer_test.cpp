#include "module_fixture.h"

namespace nuvra::test {
namespace {

class TransferTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        MakeObjects();
        image = cl.context.CreateImage2D(1, {}, 8, 4).GetValue();
        fake.calls.clear();
    }
    void TearDown() override {
        image = nullptr;
        event = nullptr;
        ModuleTest::TearDown();
    }
    /// An operation on memory.
    struct Transfer {
        std::string function;  ///< that it calls
        const OpenCLMemoryObjectRef& memory;
        std::function<Result<void>(const OpenCLMemoryObjectRef&, OpenCLEventRef*)> run;
    };
    std::vector<Transfer> Transfers() {
        using Memory = const OpenCLMemoryObjectRef&;
        using Slot = OpenCLEventRef*;
        const OpenCLCommandQueueRef& queue = cl.queue;
        return {
            {"clEnqueueMapBuffer", cl.buffer,
             [&](Memory m, Slot e) {
                 return queue.EnqueueMapBuffer(m, true, 3, 4, 8, 0, nullptr, e).GetError();
             }},
            {"clEnqueueReadBuffer", cl.buffer,
             [&](Memory m, Slot e) { return queue.EnqueueReadBuffer(m, true, 4, 8, bytes, 0, nullptr, e); }},
            {"clEnqueueWriteBuffer", cl.buffer,
             [&](Memory m, Slot e) {
                 return queue.EnqueueWriteBuffer(m, false, 4, 8, bytes, 0, nullptr, e);
             }},
            {"clEnqueueMapImage", image,
             [&](Memory m, Slot e) {
                 return queue.EnqueueMapImage(m, false, 1, box, box, &pitch, &pitch, 0, nullptr, e)
                     .GetError();
             }},
            {"clEnqueueReadImage", image,
             [&](Memory m, Slot e) {
                 return queue.EnqueueReadImage(m, true, box, box, 32, 0, bytes, 0, nullptr, e);
             }},
            {"clEnqueueWriteImage", image,
             [&](Memory m, Slot e) {
                 return queue.EnqueueWriteImage(m, false, box, box, 32, 5, bytes, 0, nullptr, e);
             }},
            {"clEnqueueUnmapMemObject", image,
             [&](Memory m, Slot e) { return queue.EnqueueUnmapMemObject(m, bytes, 0, nullptr, e); }},
        };
    }

    OpenCLMemoryObjectRef image;
    OpenCLEventRef event;
    std::byte bytes[64] = {};
    const size_t box[3] = {1, 2, 1};
    size_t pitch = 0;
};

TEST_F(TransferTest, MemoryThatIsEmptyOrOfTheOtherKindFailsBeforeTheSlotIsTouched) {
    for (const auto& [function, memory, run] : Transfers()) {
        ASSERT_EQ(Outcome(run(memory, &event)), "OK");
        const OpenCLEventRef before = event;
        fake.calls.clear();
        EXPECT_EQ(Outcome(run({}, &event)), "CL_INVALID_MEM_OBJECT") << function;
        if (function != "clEnqueueUnmapMemObject") {
            EXPECT_EQ(Outcome(run(memory == image ? cl.buffer : image, &event)), "CL_INVALID_MEM_OBJECT")
                << function;
        }
        EXPECT_EQ(fake.calls.size(), 0U) << function;
        EXPECT_TRUE(event == before) << function;
    }
}

TEST_F(TransferTest, ARangeThatNoNumberEndsIsRefused) {
    for (const auto& [offset, size] : {std::pair<size_t, size_t>{1, SIZE_MAX}, {SIZE_MAX, 1}})
        for (const ErrorRef& error :
             {cl.queue.EnqueueReadBuffer(cl.buffer, true, offset, size, bytes).GetError(),
              cl.queue.EnqueueWriteBuffer(cl.buffer, true, offset, size, bytes).GetError(),
              cl.queue.EnqueueMapBuffer(cl.buffer, true, 1, offset, size).GetError()})
            EXPECT_EQ(Describe(error), "CL_INVALID_VALUE");
    EXPECT_EQ(fake.calls.size(), 0U);
    EXPECT_EQ(Outcome(cl.queue.EnqueueReadBuffer(cl.buffer, true, 0, SIZE_MAX, bytes)), "CL_INVALID_VALUE");
    EXPECT_EQ(fake.calls.size(), 1U) << "which the runtime refuses";
}

TEST_F(TransferTest, ReleasedMemoryAndAReleasedQueueAreTheRuntimesAffair) {
    ASSERT_EQ(Outcome(image.Release()), "OK");
    ASSERT_EQ(Outcome(cl.buffer.Release()), "OK");
    for (const auto& [function, memory, run] : Transfers())
        EXPECT_EQ(Outcome(run(memory, &event)), "CL_INVALID_MEM_OBJECT") << function;
    EXPECT_EQ(Outcome(cl.queue.Release()), "OK");
    for (const auto& [function, memory, run] : Transfers())
        EXPECT_NE(Outcome(run(memory, &event)), "OK") << function;
    EXPECT_EQ(Outcome(cl.queue.Finish()), "CL_INVALID_COMMAND_QUEUE");
}

TEST_F(TransferTest, AFailingReleaseStillEndsTheHandle) {
    for (const char* name :
         {"clReleaseCommandQueue", "clReleaseMemObject", "clReleaseProgram", "clReleaseKernel"})
        fake.Fail(name, CL_OUT_OF_RESOURCES, 1);
    for (const char* again : {"CL_OUT_OF_RESOURCES", ""}) {
        const auto expect = [&](const Result<void>& released, const char* gone) {
            EXPECT_EQ(Outcome(released), *again != 0 ? again : gone);
        };
        expect(cl.queue.Release(), "CL_INVALID_COMMAND_QUEUE");
        expect(image.Release(), "CL_INVALID_MEM_OBJECT");
        expect(cl.kernel.Release(), "CL_INVALID_KERNEL");
        expect(cl.program.Release(), "CL_INVALID_PROGRAM");
    }
    cl.queue = nullptr;
    EXPECT_EQ(fake.TextsOf("clReleaseCommandQueue"), Texts{"queue1"});
    EXPECT_EQ(fake.TextsOf("clReleaseMemObject"), Texts{"memory2"});
}

TEST_F(TransferTest, BytesReachABufferAndComeBack) {
    for (size_t i = 0; i < 8; i++) bytes[i] = static_cast<std::byte>(i + 1);
    ASSERT_EQ(Outcome(cl.queue.EnqueueWriteBuffer(cl.buffer, true, 4, 8, bytes)), "OK");
    std::byte back[8] = {};
    ASSERT_EQ(Outcome(cl.queue.EnqueueReadBuffer(cl.buffer, true, 5, 8, back)), "OK");
    EXPECT_EQ(back[0], std::byte{2});
    EXPECT_EQ(back[7], std::byte{0xEE}) << "not written";
    const Result<void*> mapped = cl.queue.EnqueueMapBuffer(cl.buffer, true, OpenCLMapFlags::READ, 4, 8);
    ASSERT_NE(mapped.GetValue(), nullptr);
    EXPECT_EQ(*static_cast<std::byte*>(mapped.GetValue()), std::byte{1});
    fake.Fail("clEnqueueMapBuffer", CL_MAP_FAILURE);
    const Result<void*> failed = cl.queue.EnqueueMapBuffer(cl.buffer, true, OpenCLMapFlags::READ, 4, 8);
    EXPECT_EQ(Outcome(failed), "CL_MAP_FAILURE");
    EXPECT_EQ(failed.GetValue(), nullptr);
}

TEST_F(TransferTest, InvalidatingMapsAreWritesBelowOpenCLC12) {
    const auto mapFlags = [&](const OpenCLCommandQueueRef& queue, UChar flags) {
        EXPECT_EQ(Outcome(queue.EnqueueMapBuffer(cl.buffer, true, flags, 0, 8)), "OK");
        EXPECT_EQ(Outcome(queue.EnqueueMapImage(image, true, flags, box, box, &pitch, &pitch)), "OK");
        EXPECT_EQ(fake.calls[0].values[3], fake.calls[1].values[3]);
        const UInt64 passed = std::get<UInt64>(fake.calls[0].values[3]);
        fake.calls.clear();
        return passed;
    };
    fake.platforms[0]->devices[0]->info[CL_DEVICE_OPENCL_C_VERSION] = fake::TextBytes("OpenCL C 1.1 ");
    const OpenCLCommandQueueRef old = cl.context.CreateCommandQueue().GetValue();
    fake.calls.clear();
    const std::tuple<UChar, UInt64, UInt64> cases[] = {{0, 0, 0}, {1, 1, 1}, {3, 3, 3},
                                                       {4, 4, 2}, {5, 5, 3}, {0xFB, 3, 3}};
    for (const auto& [flags, current, before] : cases) {
        EXPECT_EQ(mapFlags(cl.queue, flags), current) << int{flags};
        EXPECT_EQ(mapFlags(old, flags), before) << int{flags};
    }
}

TEST_F(TransferTest, AnEmptyQueueReferenceIsTheNullPointerError) {
    const OpenCLCommandQueueRef none;
    EXPECT_EQ(Outcome(none.Finish()), kNullPointer);
    EXPECT_EQ(Outcome(none.EnqueueReadBuffer(cl.buffer, true, 0, 1, bytes)), kNullPointer);
    EXPECT_EQ(Outcome(none.WaitForEvents(0, nullptr)), kNullPointer);
}

}  // namespace
}  // namespace nuvra::test
