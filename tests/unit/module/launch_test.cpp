#include "module_fixture.h"

namespace nuvra::test {
namespace {

class LaunchTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        MakeObjects();
        tail = cl.program.CreateKernel("Tail").GetValue();
        fake.calls.clear();
    }
    void TearDown() override {
        tail = nullptr;
        waited = nullptr;
        event = nullptr;
        ModuleTest::TearDown();
    }
    /// A launch in one dimension that gives `slot` an event.
    std::string Launch(Int waitCount, const OpenCLEventRef* waitList, OpenCLEventRef* slot) {
        const size_t size = 1;
        return Outcome(
            cl.queue.EnqueueNDRangeKernel(cl.kernel, 1, nullptr, &size, nullptr, waitCount, waitList, slot));
    }
    std::string Range(const size_t* limits, size_t offset, size_t count, OpenCLEventRef* slot = nullptr) {
        return Outcome(
            cl.queue.EnqueueRange(cl.kernel, limits, offset, count, waited ? 1 : 0, &waited, slot));
    }
    std::string Grouped(size_t groupSize, const size_t* limits, size_t offset, size_t count) {
        return Outcome(cl.queue.EnqueueGroupedRange(cl.kernel, groupSize, tail, limits, offset, count,
                                                    waited ? 1 : 0, &waited, nullptr));
    }
    void MakeWaited() {
        ASSERT_EQ(Launch(0, nullptr, &waited), "OK");
        fake.calls.clear();
    }

    OpenCLKernelRef tail;
    OpenCLEventRef waited;
    OpenCLEventRef event;
};

TEST_F(LaunchTest, EveryItemOfACutRangeRunsOnceInOrder) {
    const std::array<size_t, 3> allLimits[] = {{1, 1, 1}, {4, 2, 2}, {3, 5, 1}, {7, 1, 4}, {64, 64, 64}};
    for (const auto& limits : allLimits) {
        for (const size_t count : {1U, 2U, 3U, 7U, 8U, 15U, 16U, 17U, 63U, 128U}) {
            fake.calls.clear();
            ASSERT_EQ(Range(limits.data(), 5, count), "OK");
            size_t next = 5;
            for (const fake::Call& call : fake.calls) {
                if (call.name != "clEnqueueNDRangeKernel") continue;
                const auto& offset = std::get<fake::Numbers>(call.values[3]);
                const auto& global = std::get<fake::Numbers>(call.values[4]);
                EXPECT_EQ(offset, (fake::Numbers{next, 0, 0}));
                for (size_t i = 0; i < 3; i++) EXPECT_LE(global[i], limits[i]);
                next += global[0] * global[1] * global[2];
            }
            EXPECT_EQ(next, 5 + count);
        }
    }
}

TEST_F(LaunchTest, AFailedCheckLeavesTheSlotAndAFailedCallAFreshEvent) {
    ASSERT_EQ(Launch(0, nullptr, &event), "OK");
    const OpenCLEventRef before = event;
    const OpenCLKernelRef released = cl.program.CreateKernel("Main").GetValue();
    ASSERT_EQ(Outcome(released.Release()), "OK");
    fake.calls.clear();
    const size_t size = 1;
    for (const OpenCLKernelRef& none : {OpenCLKernelRef(), released})
        for (const Result<void>& result :
             {cl.queue.EnqueueNDRangeKernel(none, 1, nullptr, &size, nullptr, 0, nullptr, &event),
              cl.queue.EnqueueRange(none, nullptr, 0, 1, 0, nullptr, &event),
              cl.queue.EnqueueGroupedRange(none, 4, tail, nullptr, 0, 1, 0, nullptr, &event),
              cl.queue.EnqueueGroupedRange(cl.kernel, 4, none, nullptr, 0, 1, 0, nullptr, &event)})
            EXPECT_EQ(Outcome(result), "CL_INVALID_KERNEL");
    EXPECT_EQ(Outcome(cl.queue.EnqueueGroupedRange(cl.kernel, 0, tail, nullptr, 0, 1, 0, nullptr, &event)),
              "CL_INVALID_WORK_GROUP_SIZE");
    EXPECT_TRUE(event == before);
    EXPECT_EQ(fake.calls.size(), 0U);

    fake.Fail("clEnqueueNDRangeKernel", CL_OUT_OF_RESOURCES, 1);
    EXPECT_EQ(Launch(0, nullptr, &event), "CL_OUT_OF_RESOURCES");
    EXPECT_FALSE(event == before);
}

TEST_F(LaunchTest, AnEventThatHoldsNoneCannotBeWaitedFor) {
    fake.Fail("clEnqueueNDRangeKernel", CL_OUT_OF_RESOURCES, 1);
    EXPECT_EQ(Launch(0, nullptr, &event), "CL_OUT_OF_RESOURCES");
    const OpenCLEventRef before = event;
    fake.calls.clear();
    EXPECT_EQ(Outcome(cl.queue.WaitForEvents(1, &event)), "CL_INVALID_EVENT");
    waited = event;
    for (const std::string& outcome :
         {Launch(1, &event, &event), Range(nullptr, 0, 1, &event), Grouped(4, nullptr, 0, 1)})
        EXPECT_EQ(outcome, "CL_INVALID_EVENT_WAIT_LIST");
    EXPECT_TRUE(event == before);
    EXPECT_EQ(fake.calls.size(), 0U);
}

TEST_F(LaunchTest, AWaitListOfSixteenAllocatesNothing) {
    MakeWaited();
    std::vector<OpenCLEventRef> list(16, waited);
    const Int before = host->allocations.GetCount();
    EXPECT_EQ(Launch(16, list.data(), nullptr), "OK");
    EXPECT_EQ(Outcome(cl.queue.WaitForEvents(16, list.data())), "OK");
    EXPECT_EQ(host->allocations.GetCount(), before);
    EXPECT_EQ(Launch(16, list.data(), &event), "OK");
    EXPECT_EQ(host->allocations.GetCount(), before + 1) << "an event is one allocation";

    list.resize(40, waited);
    EXPECT_EQ(Launch(40, list.data(), nullptr), "OK");
    EXPECT_EQ(std::get<fake::Handles>(fake.calls.back().values[7]).size(), 40U);
    host->allocations.FailFrom(0);
    fake.calls.clear();
    EXPECT_EQ(Launch(40, list.data(), nullptr), kOutOfMemory);
    EXPECT_EQ(fake.calls.size(), 0U);
}

}  // namespace
}  // namespace nuvra::test
