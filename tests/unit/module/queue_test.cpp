#include "module_fixture.h"

namespace nuvra::test {
namespace {

/// What a queue refuses, cuts and waits for.
class QueueTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        MakeObjects();
        tail = cl.program.CreateKernel("Tail").GetValue();
        image = cl.context.CreateImage2D(1, {}, 8, 4).GetValue();
        ASSERT_EQ(Launch(0, nullptr, &event), "OK");
        fake.calls.clear();
    }
    void TearDown() override {
        tail = nullptr;
        image = nullptr;
        event = nullptr;
        ModuleTest::TearDown();
    }
    /// A launch in one dimension that gives `slot` an event.
    std::string Launch(Int waitCount, const OpenCLEventRef* waitList, OpenCLEventRef* slot) {
        return Outcome(
            cl.queue.EnqueueNDRangeKernel(cl.kernel, 1, nullptr, box, nullptr, waitCount, waitList, slot));
    }

    OpenCLKernelRef tail;
    OpenCLMemoryObjectRef image;
    OpenCLEventRef event;
    std::byte bytes[64] = {};
    const size_t box[3] = {1, 1, 1};
    size_t pitch = 0;
};

TEST_F(QueueTest, MemoryThatIsEmptyOrOfTheOtherKindFailsBeforeTheSlotIsTouched) {
    const OpenCLCommandQueueRef& queue = cl.queue;
    const OpenCLMemoryObjectRef none;
    const OpenCLEventRef before = event;
    const auto expectRefusals = [](std::initializer_list<ErrorRef> errors) {
        for (const ErrorRef& error : errors) EXPECT_EQ(Describe(error), "CL_INVALID_MEM_OBJECT");
    };
    for (const auto& m : {none, image})
        expectRefusals({queue.EnqueueMapBuffer(m, true, 3, 4, 8, 0, nullptr, &event).GetError(),
                        queue.EnqueueReadBuffer(m, true, 4, 8, bytes, 0, nullptr, &event).GetError(),
                        queue.EnqueueWriteBuffer(m, true, 4, 8, bytes, 0, nullptr, &event).GetError()});
    for (const auto& m : {none, cl.buffer})
        expectRefusals({queue.EnqueueMapImage(m, true, 1, box, box, &pitch, &pitch).GetError(),
                        queue.EnqueueReadImage(m, true, box, box, 32, 0, bytes).GetError(),
                        queue.EnqueueWriteImage(m, true, box, box, 32, 0, bytes).GetError()});
    expectRefusals({queue.EnqueueUnmapMemObject(none, bytes, 0, nullptr, &event).GetError()});
    EXPECT_EQ(fake.calls.size(), 0U);
    EXPECT_TRUE(event == before);
    EXPECT_EQ(Outcome(queue.EnqueueUnmapMemObject(image, bytes)), "OK");
}

TEST_F(QueueTest, ARangeThatNoNumberEndsIsRefused) {
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

TEST_F(QueueTest, AFailingReleaseStillEndsTheHandle) {
    for (const char* name :
         {"clReleaseCommandQueue", "clReleaseMemObject", "clReleaseProgram", "clReleaseKernel"})
        fake.Fail(name, CL_OUT_OF_RESOURCES, 1);
    for (const bool isFirst : {true, false}) {
        const auto expect = [&](const Result<void>& released, const char* gone) {
            EXPECT_EQ(Outcome(released), isFirst ? "CL_OUT_OF_RESOURCES" : gone);
        };
        expect(cl.queue.Release(), "CL_INVALID_COMMAND_QUEUE");
        expect(image.Release(), "CL_INVALID_MEM_OBJECT");
        expect(cl.kernel.Release(), "CL_INVALID_KERNEL");
        expect(cl.program.Release(), "CL_INVALID_PROGRAM");
    }
    cl.queue = nullptr;
    EXPECT_EQ(fake.calls.size(), 4U);
}

TEST_F(QueueTest, InvalidatingMapsAreWritesBelowOpenCLC12) {
    fake.platforms[0]->devices[0]->info[CL_DEVICE_OPENCL_C_VERSION] = fake::TextBytes("OpenCL C 1.1 ");
    const OpenCLCommandQueueRef old = cl.context.CreateCommandQueue().GetValue();
    const std::tuple<UChar, UInt64, UInt64> cases[] = {{0, 0, 0}, {3, 3, 3}, {4, 4, 2}, {0xFB, 3, 3}};
    for (const auto& [flags, current, before] : cases) {
        fake.calls.clear();
        for (const OpenCLCommandQueueRef& queue : {cl.queue, old}) {
            EXPECT_EQ(Outcome(queue.EnqueueMapBuffer(cl.buffer, true, flags, 0, 8)), "OK");
            EXPECT_EQ(Outcome(queue.EnqueueMapImage(image, true, flags, box, box, &pitch, &pitch)), "OK");
        }
        for (size_t i = 0; i < 4; i++)
            EXPECT_EQ(fake.calls[i].values[3], fake::Value(i < 2 ? current : before)) << int{flags};
    }
}

TEST_F(QueueTest, EveryItemOfACutRangeRunsOnceInOrder) {
    const std::array<size_t, 3> allLimits[] = {{0, 0, 0}, {4, 2, 2}, {3, 5, 1}, {7, 1, 4}, {64, 64, 64}};
    for (const auto& limits : allLimits) {
        for (const size_t count : {1U, 2U, 3U, 7U, 8U, 15U, 16U, 17U, 63U, 128U}) {
            fake.calls.clear();
            ASSERT_EQ(Outcome(cl.queue.EnqueueRange(cl.kernel, limits.data(), 5, count)), "OK");
            size_t next = 5;
            for (const fake::Call& call : fake.calls) {
                const auto& global = std::get<fake::Numbers>(call.values[4]);
                EXPECT_EQ(call.values[3], fake::Value(fake::Numbers{next, 0, 0}));
                for (size_t i = 0; i < 3; i++) EXPECT_LE(global[i], std::max<size_t>(limits[i], 1));
                next += global[0] * global[1] * global[2];
            }
            EXPECT_EQ(next, 5 + count);
        }
    }
}

TEST_F(QueueTest, AFailedCheckLeavesTheSlotAndAFailedCallAFreshEventThatCannotBeWaitedFor) {
    const OpenCLCommandQueueRef& queue = cl.queue;
    OpenCLEventRef before = event;
    const OpenCLKernelRef released = cl.program.CreateKernel("Main").GetValue();
    ASSERT_EQ(Outcome(released.Release()), "OK");
    fake.calls.clear();
    for (const OpenCLKernelRef& none : {OpenCLKernelRef(), released})
        for (const Result<void>& result :
             {queue.EnqueueNDRangeKernel(none, 1, nullptr, box, nullptr, 0, nullptr, &event),
              queue.EnqueueRange(none, nullptr, 0, 1, 0, nullptr, &event),
              queue.EnqueueGroupedRange(none, 4, tail, nullptr, 0, 1, 0, nullptr, &event),
              queue.EnqueueGroupedRange(cl.kernel, 4, none, nullptr, 0, 1, 0, nullptr, &event)})
            EXPECT_EQ(Outcome(result), "CL_INVALID_KERNEL");
    for (const size_t size : {0U, 1U})
        EXPECT_EQ(Outcome(queue.EnqueueGroupedRange(cl.kernel, size, tail, nullptr, 0, size)),
                  size == 0 ? "CL_INVALID_WORK_GROUP_SIZE" : "OK");
    EXPECT_TRUE(event == before);
    EXPECT_EQ(fake.calls.size(), 1U);

    fake.Fail("clEnqueueNDRangeKernel", CL_OUT_OF_RESOURCES, 1);
    EXPECT_EQ(Launch(0, nullptr, &event), "CL_OUT_OF_RESOURCES");
    EXPECT_FALSE(event == before);
    before = event;
    fake.calls.clear();
    EXPECT_EQ(Outcome(queue.WaitForEvents(1, &event)), "CL_INVALID_EVENT");
    for (const Result<void>& result :
         {queue.EnqueueNDRangeKernel(cl.kernel, 1, nullptr, box, nullptr, 1, &event, &event),
          queue.EnqueueRange(cl.kernel, nullptr, 0, 1, 1, &event),
          queue.EnqueueReadBuffer(cl.buffer, true, 0, 8, bytes, 1, &event)})
        EXPECT_EQ(Outcome(result), "CL_INVALID_EVENT_WAIT_LIST");
    EXPECT_TRUE(event == before);
    EXPECT_EQ(fake.calls.size(), 0U);
}

TEST_F(QueueTest, AWaitListOfSixteenAllocatesNothing) {
    std::vector<OpenCLEventRef> list(16, event);
    const Int before = host->allocations.GetCount();
    EXPECT_EQ(Launch(16, list.data(), nullptr), "OK");
    EXPECT_EQ(Outcome(cl.queue.WaitForEvents(16, list.data())), "OK");
    EXPECT_EQ(host->allocations.GetCount(), before);
    EXPECT_EQ(Launch(16, list.data(), &event), "OK");
    EXPECT_EQ(host->allocations.GetCount(), before + 1) << "an event is one allocation";

    list.resize(40, event);
    EXPECT_EQ(Launch(40, list.data(), nullptr), "OK");
    EXPECT_EQ(std::get<fake::Handles>(fake.calls.back().values[7]).size(), 40U);
    host->allocations.FailFrom(0);
    EXPECT_EQ(Launch(40, list.data(), nullptr), kOutOfMemory);
}

}  // namespace
}  // namespace nuvra::test
