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
    using Transfer = std::function<Result<void>(const OpenCLMemoryObjectRef&, OpenCLEventRef*)>;
    /// Every operation on memory, by the function that it calls.
    std::vector<std::pair<std::string, Transfer>> Transfers() {
        using Memory = const OpenCLMemoryObjectRef&;
        using Slot = OpenCLEventRef*;
        const OpenCLCommandQueueRef& queue = cl.queue;
        return {
            {"clEnqueueMapBuffer",
             [&](Memory m, Slot e) {
                 return queue.EnqueueMapBuffer(m, true, 3, 4, 8, 0, nullptr, e).GetError();
             }},
            {"clEnqueueMapImage",
             [&](Memory m, Slot e) {
                 return queue.EnqueueMapImage(m, false, 1, box, box, &pitch, &pitch, 0, nullptr, e)
                     .GetError();
             }},
            {"clEnqueueUnmapMemObject",
             [&](Memory m, Slot e) { return queue.EnqueueUnmapMemObject(m, bytes, 0, nullptr, e); }},
            {"clEnqueueReadBuffer",
             [&](Memory m, Slot e) { return queue.EnqueueReadBuffer(m, true, 4, 8, bytes, 0, nullptr, e); }},
            {"clEnqueueWriteBuffer",
             [&](Memory m, Slot e) {
                 return queue.EnqueueWriteBuffer(m, false, 4, 8, bytes, 0, nullptr, e);
             }},
            {"clEnqueueReadImage",
             [&](Memory m, Slot e) {
                 return queue.EnqueueReadImage(m, true, box, box, 32, 0, bytes, 0, nullptr, e);
             }},
            {"clEnqueueWriteImage",
             [&](Memory m, Slot e) {
                 return queue.EnqueueWriteImage(m, false, box, box, 32, 5, bytes, 0, nullptr, e);
             }},
            {"clEnqueueAcquireGLObjects",
             [&](Memory m, Slot e) { return queue.EnqueueAcquireGLObjects(1, &m, 0, nullptr, e); }},
            {"clEnqueueReleaseGLObjects",
             [&](Memory m, Slot e) { return queue.EnqueueReleaseGLObjects(1, &m, 0, nullptr, e); }},
        };
    }

    OpenCLMemoryObjectRef image;
    OpenCLEventRef event;
    std::byte bytes[64] = {};
    const size_t box[3] = {1, 2, 1};
    size_t pitch = 0;
};

TEST_F(TransferTest, ArgumentsArePassedUnchanged) {
    const Texts expected = {
        "queue1, memory2, 1, 3, 4, 8, 0, null, null, ptr",
        "queue1, memory2, 0, 1, [1 2 1], [1 2 1], ptr, ptr, 0, null, null, ptr",
        "queue1, memory2, ptr, 0, null, null",
        "queue1, memory2, 1, 4, 8, ptr, 0, null, null",
        "queue1, memory2, 0, 4, 8, ptr, 0, null, null",
        "queue1, memory2, 1, [1 2 1], [1 2 1], 32, 0, ptr, 0, null, null",
        "queue1, memory2, 0, [1 2 1], [1 2 1], 32, 5, ptr, 0, null, null",
        "queue1, 1, [memory2], 0, null, null",
        "queue1, 1, [memory2], 0, null, null",
    };
    const auto transfers = Transfers();
    ASSERT_EQ(transfers.size(), expected.size());
    for (size_t i = 0; i < transfers.size(); i++) {
        EXPECT_EQ(Outcome(transfers[i].second(image, nullptr)), "OK");
        EXPECT_EQ(Take(transfers[i].first), Texts{expected[i]}) << transfers[i].first;
    }
}

TEST_F(TransferTest, AnEmptyMemoryReferenceFailsBeforeTheSlotIsTouched) {
    for (const auto& [name, transfer] : Transfers()) {
        ASSERT_EQ(Outcome(transfer(image, &event)), "OK");
        const OpenCLEventRef before = event;
        fake.calls.clear();
        EXPECT_EQ(Outcome(transfer({}, &event)), "CL_INVALID_MEM_OBJECT") << name;
        EXPECT_EQ(fake.calls.size(), 0U) << name;
        EXPECT_TRUE(event == before) << name;
    }
}

TEST_F(TransferTest, ReleasedMemoryAndAReleasedQueueAreTheRuntimesAffair) {
    ASSERT_EQ(Outcome(image.Release()), "OK");
    for (const auto& [name, transfer] : Transfers())
        EXPECT_EQ(Outcome(transfer(image, &event)), "CL_INVALID_MEM_OBJECT") << name;
    EXPECT_EQ(Outcome(cl.queue.Release()), "OK");
    EXPECT_EQ(Outcome(cl.queue.Release()), "CL_INVALID_COMMAND_QUEUE");
    EXPECT_EQ(Take("clReleaseCommandQueue"), Texts{"queue1"});
    for (const auto& [name, transfer] : Transfers())
        EXPECT_NE(Outcome(transfer(cl.buffer, &event)), "OK") << name;
    EXPECT_EQ(Outcome(cl.queue.Finish()), "CL_INVALID_COMMAND_QUEUE");
    cl.queue = nullptr;
    EXPECT_EQ(fake.TextsOf("clReleaseCommandQueue"), Texts());
}

TEST_F(TransferTest, AFailingReleaseStillEndsTheHandle) {
    for (const char* name :
         {"clReleaseCommandQueue", "clReleaseMemObject", "clReleaseProgram", "clReleaseKernel"})
        fake.Fail(name, CL_OUT_OF_RESOURCES, 1);
    EXPECT_EQ(Outcome(cl.queue.Release()), "CL_OUT_OF_RESOURCES");
    EXPECT_EQ(Outcome(cl.queue.Release()), "CL_INVALID_COMMAND_QUEUE");
    EXPECT_EQ(Outcome(image.Release()), "CL_OUT_OF_RESOURCES");
    EXPECT_EQ(Outcome(image.Release()), "CL_INVALID_MEM_OBJECT");
    EXPECT_EQ(Outcome(cl.kernel.Release()), "CL_OUT_OF_RESOURCES");
    EXPECT_EQ(Outcome(cl.kernel.Release()), "CL_INVALID_KERNEL");
    EXPECT_EQ(Outcome(cl.program.Release()), "CL_OUT_OF_RESOURCES");
    EXPECT_EQ(Outcome(cl.program.Release()), "CL_INVALID_PROGRAM");
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

TEST_F(TransferTest, OpenGLObjectsMayBeNoneOrMany) {
    std::vector<OpenCLMemoryObjectRef> many(20, image);
    EXPECT_EQ(Outcome(cl.queue.EnqueueAcquireGLObjects(20, many.data())), "OK");
    EXPECT_EQ(std::get<fake::Handles>(fake.calls.back().values[2]).size(), 20U);
    for (const Int none : {Int{0}, Int{-3}})
        EXPECT_EQ(Outcome(cl.queue.EnqueueReleaseGLObjects(none, nullptr)), "OK");
    EXPECT_EQ(fake.TextsOf("clEnqueueReleaseGLObjects"),
              (Texts{"queue1, 0, null, 0, null, null", "queue1, 0, null, 0, null, null"}));
}

TEST_F(TransferTest, AnEmptyQueueReferenceIsTheNullPointerError) {
    const OpenCLCommandQueueRef none;
    EXPECT_EQ(Outcome(none.Finish()), kNullPointer);
    EXPECT_EQ(Outcome(none.EnqueueReadBuffer(cl.buffer, true, 0, 1, bytes)), kNullPointer);
    EXPECT_EQ(Outcome(none.WaitForEvents(0, nullptr)), kNullPointer);
}

}  // namespace
}  // namespace nuvra::test
