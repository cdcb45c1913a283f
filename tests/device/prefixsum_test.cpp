#include <random>

#include "device_fixture.h"

namespace nuvra::test {

namespace {

class PrefixSumTest : public DeviceTest {
protected:
    struct Scan {
        std::vector<UInt32> values;  // padded
        OpenCLMemoryObjectRef input;
        OpenCLMemoryObjectRef output;
        Int64 count;
        bool merge;
    };

    Int64 PaddedCount(Int64 count) {
        const Data padded = GetTask("prefixsum").QueryParameter(0, Get(Data::Of(count)));
        return padded.Find<Int64>() == nullptr ? 0 : *padded.Find<Int64>();
    }

    OpenCLMemoryObjectRef CreateWords(const std::vector<UInt32>& words) {
        return Get(context.CreateBuffer(OpenCLMemoryFlags::READ_WRITE | OpenCLMemoryFlags::COPY_HOST_PTR,
                                        words.size() * sizeof(UInt32), const_cast<UInt32*>(words.data())));
    }

    /// Values depend on their position and wrap around; beyond the count stand others, which must not matter.
    Scan Prepare(Int64 count, bool merge) {
        std::mt19937 random(static_cast<unsigned>(count));
        Scan scan{std::vector<UInt32>(static_cast<size_t>(PaddedCount(count))), {}, {}, count, merge};
        for (UInt32& value : scan.values) value = static_cast<UInt32>(random());
        scan.input = CreateWords(scan.values);
        scan.output = CreateWords(std::vector<UInt32>(scan.values.size() * (merge ? 2 : 1), 0xDEADBEEF));
        return scan;
    }

    void Execute(const Scan& scan, const OpenCLCommandQueueRef& onQueue, UInt32* total = nullptr) {
        const PrefixSumParameters parameters{
            1,          &scan.input, &scan.output, static_cast<Int64>(scan.values.size()),
            scan.count, scan.merge,  total};
        ASSERT_TRUE(IsOk(GetTask("prefixsum").Execute(context, onQueue, &parameters)));
    }

    void Check(const Scan& scan, const OpenCLCommandQueueRef& onQueue) {
        const size_t width = scan.merge ? 2 : 1;
        std::vector<UInt32> result(static_cast<size_t>(scan.count) * width);
        ASSERT_TRUE(IsOk(onQueue.EnqueueReadBuffer(scan.output, true, 0, result.size() * 4, result.data())));
        UInt32 sum = 0;
        for (size_t i = 0; i < static_cast<size_t>(scan.count); i++) {
            ASSERT_EQ(result[i * width], sum) << i << " of " << scan.count;
            ASSERT_EQ(result[i * width + width - 1], scan.merge ? scan.values[i] : sum)
                << i << " of " << scan.count;
            sum += scan.values[i];
        }
    }
};

TEST_F(PrefixSumTest, SumsPairsAndTotalsAreExactAtEverySize) {
    for (const Int64 count :
         {1LL, 2LL, 31LL, 4096LL, 4097LL, 16383LL, 16384LL, 16385LL, 100000LL, 1000003LL, (1LL << 24) + 5}) {
        for (const bool merge : {false, true}) {
            const Scan scan = Prepare(count, merge);
            UInt32 total = 0;
            Execute(scan, queue, &total);
            Check(scan, queue);
            UInt32 expected = 0;
            for (Int64 i = 0; i < count; i++) expected += scan.values[static_cast<size_t>(i)];
            EXPECT_EQ(total, expected) << count;
        }
    }
}

TEST_F(PrefixSumTest, CallsInTurnOnQueuesOfEitherOrderDoNotDisturbEachOther) {
    const OpenCLCommandQueueRef other = Get(context.CreateCommandQueue());
    // A device without queues that reorder gets one more that does not.
    const UInt64 flags = *Get(device.GetInfo(OpenCLDeviceInfo::QUEUE_PROPERTIES)).Find<UInt64>();
    const OpenCLCommandQueueRef outOfOrder = Get(
        context.CreateCommandQueue(static_cast<UInt32>(flags & OpenCLQueueFlags::OUT_OF_ORDER_EXEC_MODE)));
    const OpenCLCommandQueueRef released = Get(context.CreateCommandQueue());
    std::vector<std::pair<Scan, OpenCLCommandQueueRef>> scans;
    for (int round = 0; round < 3; round++)
        for (const OpenCLCommandQueueRef& each : {queue, other, outOfOrder, outOfOrder, released})
            scans.emplace_back(Prepare(200000 + round * 1000, round % 2 == 1), each);
    for (const auto& [scan, each] : scans) Execute(scan, each);
    ASSERT_TRUE(IsOk(released.Finish()));
    ASSERT_TRUE(IsOk(released.Release()));
    Execute(scans[0].first, queue);
    for (const auto& [scan, each] : scans) {
        // The released queue was finished before.
        if (!(each == released)) {
            ASSERT_TRUE(IsOk(each.Finish()));
        }
        Check(scan, queue);
    }
}

TEST_F(PrefixSumTest, CountsThatDoNotFitTogetherAreRefused) {
    EXPECT_EQ(PaddedCount(1), 16384);
    EXPECT_EQ(PaddedCount(16385), 32768);
    EXPECT_EQ(PaddedCount(0), 0);
    EXPECT_TRUE(GetTask("prefixsum").QueryParameter(1, Get(Data::Of(Int64{100}))).IsEmpty());
    const Scan scan = Prepare(100, false);
    struct {
        Int64 padded;
        Int64 count;
        Int32 code;
    } const kCases[] = {
        {16384, 0, CL_INVALID_VALUE},     {16384, -1, CL_INVALID_VALUE},
        {16384, 16385, CL_INVALID_VALUE}, {8192, 100, CL_INVALID_VALUE},
        {16385, 100, CL_INVALID_VALUE},   {0, 100, CL_INVALID_VALUE},
        {-16384, 100, CL_INVALID_VALUE},  {1LL << 32, 100, CL_INVALID_BUFFER_SIZE},
    };
    for (const auto& [padded, count, code] : kCases) {
        const PrefixSumParameters parameters{1, &scan.input, &scan.output, padded, count, false, nullptr};
        EXPECT_EQ(CodeOf(GetTask("prefixsum").Execute(context, queue, &parameters)), code)
            << padded << ' ' << count;
    }
    const PrefixSumParameters inPlace{1, &scan.input, &scan.input, 16384, 100, false, nullptr};
    EXPECT_EQ(CodeOf(GetTask("prefixsum").Execute(context, queue, &inPlace)), CL_INVALID_VALUE);
}

}  // namespace

}  // namespace nuvra::test
