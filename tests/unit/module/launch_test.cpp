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
    Texts Launches() { return Take("clEnqueueNDRangeKernel"); }
    void MakeWaited() {
        ASSERT_EQ(Launch(0, nullptr, &waited), "OK");
        fake.calls.clear();
    }

    OpenCLKernelRef tail;
    OpenCLEventRef waited;
    OpenCLEventRef event;
};

TEST_F(LaunchTest, ALaunchPassesItsSizes) {
    const size_t offset[] = {1, 2};
    const size_t global[] = {8, 6};
    const size_t local[] = {4, 3};
    EXPECT_EQ(Outcome(cl.queue.EnqueueNDRangeKernel(cl.kernel, 2, offset, global, local)), "OK");
    EXPECT_EQ(Outcome(cl.queue.EnqueueNDRangeKernel(cl.kernel, 2, nullptr, global, nullptr)), "OK");
    EXPECT_EQ(Outcome(cl.queue.EnqueueNDRangeKernel(cl.kernel, 4, nullptr, nullptr, nullptr)),
              "CL_INVALID_WORK_DIMENSION");
    EXPECT_EQ(Launches(), (Texts{"queue1, kernel1, 2, [1 2], [8 6], [4 3], 0, null, null",
                                 "queue1, kernel1, 2, null, [8 6], null, 0, null, null",
                                 "queue1, kernel1, 4, null, null, null, 0, null, null"}));
}

TEST_F(LaunchTest, ARangeWithoutLimitsIsOneLaunch) {
    MakeWaited();
    EXPECT_EQ(Range(nullptr, 7, 37, &event), "OK");
    EXPECT_EQ(Range(nullptr, 7, 0), "CL_INVALID_GLOBAL_WORK_SIZE");
    EXPECT_EQ(Launches(), (Texts{"queue1, kernel1, 1, [7], [37], null, 1, [event1], ptr",
                                 "queue1, kernel1, 1, [7], [0], null, 1, [event1], null"}));
}

TEST_F(LaunchTest, ARangeLargerThanTheLimitsIsCutIntoSlabsRowsAndARest) {
    MakeWaited();
    const size_t limits[] = {4, 2, 2};
    EXPECT_EQ(Range(limits, 10, 37), "OK");
    EXPECT_EQ(Launches(), (Texts{"queue1, kernel1, 3, [10 0 0], [4 2 2], null, 1, [event1], null",
                                 "queue1, kernel1, 3, [26 0 0], [4 2 2], null, 0, null, null",
                                 "queue1, kernel1, 3, [42 0 0], [4 1 1], null, 0, null, null",
                                 "queue1, kernel1, 3, [46 0 0], [1 1 1], null, 0, null, null"}));
}

TEST_F(LaunchTest, EveryItemOfACutRangeRunsOnceInOrder) {
    const std::array<size_t, 3> allLimits[] = {{1, 1, 1}, {4, 2, 2}, {3, 5, 1}, {7, 1, 4}, {64, 64, 64}};
    for (const auto& limits : allLimits) {
        for (const size_t count : {1U, 2U, 3U, 7U, 8U, 15U, 16U, 17U, 63U, 128U}) {
            fake.launches.clear();
            ASSERT_EQ(Range(limits.data(), 5, count), "OK");
            size_t next = 5;
            for (const fake::Launch& launch : fake.launches) {
                const auto& offset = std::get<fake::Numbers>(launch.ranges[0]);
                const auto& global = std::get<fake::Numbers>(launch.ranges[1]);
                EXPECT_EQ(offset, (fake::Numbers{next, 0, 0}));
                for (size_t i = 0; i < 3; i++) EXPECT_LE(global[i], limits[i]);
                next += global[0] * global[1] * global[2];
            }
            EXPECT_EQ(next, 5 + count);
        }
    }
}

TEST_F(LaunchTest, LimitsThatAreZeroCountAsOneAndMayMultiplyBeyondAnyCount) {
    const size_t zeros[] = {2, 0, 0};
    EXPECT_EQ(Range(zeros, 0, 3), "OK");
    const size_t huge[] = {size_t{1} << 40, size_t{1} << 40, 1};
    EXPECT_EQ(Range(huge, 0, (size_t{1} << 40) + 5), "OK");
    EXPECT_EQ(Launches(), (Texts{"queue1, kernel1, 3, [0 0 0], [2 1 1], null, 0, null, null",
                                 "queue1, kernel1, 3, [2 0 0], [1 1 1], null, 0, null, null",
                                 "queue1, kernel1, 3, [0 0 0], [1099511627776 1 1], null, 0, null, null",
                                 "queue1, kernel1, 3, [1099511627776 0 0], [5 1 1], null, 0, null, null"}));
}

TEST_F(LaunchTest, AnEmptyRangeUnderLimitsStillWaits) {
    const size_t limits[] = {4, 2, 2};
    EXPECT_EQ(Range(limits, 10, 0), "OK");
    EXPECT_EQ(fake.calls.size(), 0U) << "there is nothing to wait for";
    MakeWaited();
    EXPECT_EQ(Range(limits, 10, 0, &event), "OK");
    EXPECT_EQ(fake.calls.size(), 1U);
    EXPECT_EQ(Take("clWaitForEvents"), (Texts{"1, [event1]"}));
    EXPECT_EQ(Outcome(cl.queue.WaitForEvents(1, &event)), "CL_INVALID_EVENT") << "no event was made";
    for (const size_t* grouped : {limits, static_cast<const size_t*>(nullptr)}) {
        fake.calls.clear();
        fake.Fail("clWaitForEvents", CL_OUT_OF_RESOURCES, 1);
        EXPECT_EQ(Grouped(4, grouped, 10, 0), "OK") << "the result of the wait is ignored";
        EXPECT_EQ(TakeNames(), Texts{"clWaitForEvents"});
    }
}

TEST_F(LaunchTest, AGroupedRangeRunsWholeGroupsAndATail) {
    MakeWaited();
    EXPECT_EQ(Grouped(64, nullptr, 100, 200), "OK");
    EXPECT_EQ(Launches(), (Texts{"queue1, kernel1, 1, [100], [192], [64], 1, [event1], null",
                                 "queue1, kernel2, 3, [292 0 0], [8 1 1], null, 0, null, null"}));
    EXPECT_EQ(Grouped(64, nullptr, 3, 50), "OK");
    EXPECT_EQ(Launches(), (Texts{"queue1, kernel2, 3, [3 0 0], [50 1 1], null, 1, [event1], null"}));
    EXPECT_EQ(Grouped(64, nullptr, 3, 128), "OK");
    EXPECT_EQ(Launches(), (Texts{"queue1, kernel1, 1, [3], [128], [64], 1, [event1], null"}));
    const size_t limits[] = {8, 2, 2};
    EXPECT_EQ(Grouped(4, limits, 0, 45), "OK");
    EXPECT_EQ(Launches(), (Texts{"queue1, kernel1, 3, [0 0 0], [8 2 2], [4 1 1], 1, [event1], null",
                                 "queue1, kernel1, 3, [32 0 0], [8 1 1], [4 1 1], 0, null, null",
                                 "queue1, kernel2, 3, [40 0 0], [5 1 1], null, 0, null, null"}));
}

TEST_F(LaunchTest, NothingFollowsAFailedLaunch) {
    const size_t limits[] = {4, 2, 2};
    fake.Fail("clEnqueueNDRangeKernel", CL_OUT_OF_RESOURCES, 2);
    EXPECT_EQ(Range(limits, 0, 37, &event), "CL_OUT_OF_RESOURCES");
    EXPECT_EQ(Launches().size(), 2U);
    EXPECT_EQ(Outcome(cl.queue.WaitForEvents(1, &event)), "OK");
    EXPECT_EQ(Take("clWaitForEvents"), (Texts{"1, [event1]"})) << "of the last launch that was made";
    fake.Fail("clEnqueueNDRangeKernel", CL_MEM_OBJECT_ALLOCATION_FAILURE, 1);
    EXPECT_EQ(Grouped(64, nullptr, 0, 70), "CL_MEM_OBJECT_ALLOCATION_FAILURE");
    EXPECT_EQ(Launches().size(), 1U);
}

TEST_F(LaunchTest, TheEventOfACutRangeIsTheLastLaunchesAndTheOthersAreReleased) {
    const size_t limits[] = {4, 2, 2};
    ASSERT_EQ(Range(limits, 0, 37, &event), "OK");
    EXPECT_EQ(fake.TextsOf("clReleaseEvent"), (Texts{"event1", "event2", "event3"}));
    fake.calls.clear();
    EXPECT_EQ(Outcome(cl.queue.WaitForEvents(1, &event)), "OK");
    EXPECT_EQ(Take("clWaitForEvents"), (Texts{"1, [event4]"}));
    event = nullptr;
    EXPECT_EQ(Take("clReleaseEvent"), (Texts{"event4"}));
}

TEST_F(LaunchTest, AnEventMayBeWaitedForAndReplacedInOneCall) {
    ASSERT_EQ(Launch(0, nullptr, &event), "OK");
    const size_t limits[] = {4, 2, 2};
    const std::function<std::string()> chains[] = {
        [&] { return Launch(1, &event, &event); },
        [&] { return Outcome(cl.queue.EnqueueRange(cl.kernel, limits, 0, 5, 1, &event, &event)); },
        [&] {
            return Outcome(
                cl.queue.EnqueueGroupedRange(cl.kernel, 4, tail, nullptr, 0, 5, 1, &event, &event));
        },
    };
    for (const auto& chain : chains) {
        const OpenCLEventRef before = event;
        fake.calls.clear();
        EXPECT_EQ(chain(), "OK");
        EXPECT_FALSE(event == before);
        const fake::Value& list = fake.calls.front().values[7];
        EXPECT_EQ(std::get<fake::Handles>(list).size(), 1U);
    }
    fake.calls.clear();
    ASSERT_EQ(Launch(1, &event, &event), "OK");
    EXPECT_EQ(TakeNames(), (Texts{"clEnqueueNDRangeKernel", "clReleaseEvent"})) << "it lives until then";
}

TEST_F(LaunchTest, AFailedCheckLeavesTheSlotAndAFailedCallAFreshEvent) {
    ASSERT_EQ(Launch(0, nullptr, &event), "OK");
    const OpenCLEventRef before = event;
    fake.calls.clear();
    const size_t size = 1;
    EXPECT_EQ(Outcome(cl.queue.EnqueueNDRangeKernel({}, 1, nullptr, &size, nullptr, 0, nullptr, &event)),
              "CL_INVALID_KERNEL");
    EXPECT_EQ(Outcome(cl.queue.EnqueueRange({}, nullptr, 0, 1, 0, nullptr, &event)), "CL_INVALID_KERNEL");
    for (const bool lacksMain : {true, false})
        EXPECT_EQ(Outcome(cl.queue.EnqueueGroupedRange(lacksMain ? OpenCLKernelRef() : cl.kernel, 4,
                                                       lacksMain ? tail : OpenCLKernelRef(), nullptr, 0, 1, 0,
                                                       nullptr, &event)),
                  "CL_INVALID_KERNEL");
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

TEST_F(LaunchTest, AReleasedKernelIsNone) {
    const OpenCLKernelRef whole = cl.program.CreateKernel("Main").GetValue();
    ASSERT_EQ(Outcome(tail.Release()), "OK");
    fake.calls.clear();
    const size_t one = 1;
    for (const auto& result : {cl.queue.EnqueueNDRangeKernel(tail, 1, nullptr, &one, nullptr),
                               cl.queue.EnqueueRange(tail, nullptr, 0, 1),
                               cl.queue.EnqueueGroupedRange(tail, 1, whole, nullptr, 0, 1),
                               cl.queue.EnqueueGroupedRange(whole, 1, tail, nullptr, 0, 1)})
        EXPECT_EQ(Outcome(result), "CL_INVALID_KERNEL");
    EXPECT_EQ(fake.calls.size(), 0U);
}

TEST_F(LaunchTest, EmptyReferencesInAWaitListAreSkipped) {
    MakeWaited();
    const OpenCLEventRef mixed[] = {{}, waited, {}, waited};
    const OpenCLEventRef nothing[3];
    EXPECT_EQ(Launch(4, mixed, nullptr), "OK");
    EXPECT_EQ(Launch(3, nothing, nullptr), "OK");
    EXPECT_EQ(Launch(-1, nothing, nullptr), "OK");
    EXPECT_EQ(Launches(), (Texts{"queue1, kernel1, 1, null, [1], null, 2, [event1 event1], null",
                                 "queue1, kernel1, 1, null, [1], null, 0, null, null",
                                 "queue1, kernel1, 1, null, [1], null, 0, null, null"}));
    for (const Int count : {Int{3}, Int{0}, Int{-5}})
        EXPECT_EQ(Outcome(cl.queue.WaitForEvents(count, nothing)), "OK");
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
