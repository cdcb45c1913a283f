#include <numeric>

#include "device_fixture.h"

namespace nuvra::test {

namespace {

using BufferTaskTest = DeviceTest;

std::vector<UChar> MakeBytes(size_t size) {
    std::vector<UChar> bytes(size);
    for (size_t i = 0; i < size; i++) bytes[i] = static_cast<UChar>(i * 167 + (i >> 8) * 31);
    return bytes;
}

TEST_F(BufferTaskTest, ClearedBytesHoldTheValueAndTheBytesBehindThemStay) {
    for (const Int64 size : {0, 1, 15, 16, 17, 35, 48, 4095, 4096, 65536 + 13, 1 << 20}) {
        for (const UChar value : {UChar{0}, UChar{0xAB}}) {
            if (IsTooLarge(static_cast<size_t>(size))) continue;
            std::vector<UChar> bytes = MakeBytes(static_cast<size_t>(size) + 64);
            const OpenCLMemoryObjectRef buffer = CreateBuffer(bytes);
            const ClearMemParameters parameters{1, &buffer, size, value};
            Execute("clearmem", &parameters);
            std::fill_n(bytes.begin(), size, value);
            EXPECT_EQ(ReadBuffer<UChar>(buffer, bytes.size()), bytes) << size << " bytes of " << int{value};
        }
    }
}

class Crc32cTest : public DeviceTest {
protected:
    /// The checksum of pieces of those sizes.
    UInt32 Checksum(const std::vector<UChar>& bytes, const std::vector<size_t>& sizes) {
        const OpenCLMemoryObjectRef crc = CreateBuffer(std::vector<UInt32>(1));
        auto begin = bytes.begin();
        for (const size_t size : sizes) {
            const auto end = begin + static_cast<std::ptrdiff_t>(size);
            // An empty piece still needs a buffer to point at.
            const OpenCLMemoryObjectRef data =
                CreateBuffer(size == 0 ? MakeBytes(1) : std::vector(begin, end));
            const Crc32cParameters parameters{1, &data, &crc, static_cast<Int32>(size),
                                              begin == bytes.begin()};
            Execute("crc32c", &parameters);
            begin = end;
        }
        return ~ReadBuffer<UInt32>(crc, 1)[0];
    }
};

TEST_F(Crc32cTest, TheValueIsTheDefinitionsAtEverySizeAndSplit) {
    EXPECT_EQ(Checksum({'1', '2', '3', '4', '5', '6', '7', '8', '9'}, {9}), 0xE3069283U);
    // From 16 KiB on, eight bytes are taken at once in rounds of 128, and the rest one by one. A device may
    // end a work-item's loops after 65535 rounds.
    for (const size_t size : {0U, 1U, 1000U, 16383U, 16384U, 16389U, 300127U, 4194304U, 5000001U})
        EXPECT_TRUE(IsTooLarge(size) ||
                    Checksum(MakeBytes(size), {size}) == reference::Crc32c(MakeBytes(size)))
            << size;
    const std::vector<UChar> whole = MakeBytes(70);
    for (size_t split = 1; split <= whole.size(); split++)
        ASSERT_EQ(Checksum(whole, {split, whole.size() - split}), reference::Crc32c(whole)) << split;
}

class PrefixSumTest : public DeviceTest {
protected:
    struct Scan {
        std::vector<UInt32> values;  // padded
        OpenCLMemoryObjectRef input;
        OpenCLMemoryObjectRef output;
        Int64 count;
        bool merge;
    };

    /// Values depend on their position and wrap around; beyond the count stand others, which must not matter.
    Scan Prepare(Int64 count, bool merge) {
        const OpenCLTaskRef task = Get(context.GetTask(MakeText("prefixsum")));
        const auto padded = static_cast<size_t>(*task.QueryParameter(0, Get(Data::Of(count))).Find<Int64>());
        std::mt19937 random(static_cast<unsigned>(count));
        Scan scan{std::vector<UInt32>(padded), {}, {}, count, merge};
        for (UInt32& value : scan.values) value = static_cast<UInt32>(random());
        scan.input = CreateBuffer(scan.values);
        scan.output = CreateBuffer(std::vector<UInt32>(padded * (merge ? 2 : 1), 0xDEADBEEF));
        return scan;
    }

    void Start(const Scan& scan, const OpenCLCommandQueueRef& on, UInt32* total = nullptr) {
        const PrefixSumParameters parameters{
            1,          &scan.input, &scan.output, static_cast<Int64>(scan.values.size()),
            scan.count, scan.merge,  total};
        Execute("prefixsum", &parameters, on);
    }

    void Check(const Scan& scan) {
        const auto count = static_cast<size_t>(scan.count);
        const std::vector<UInt32> sums = reference::SumsOf(scan.values, scan.values.size());
        const size_t width = scan.merge ? 2 : 1;
        const auto result = ReadBuffer<UInt32>(scan.output, count * width);
        for (size_t i = 0; i < count; i++) {
            ASSERT_EQ(result[i * width], sums[i]) << i << " of " << count;
            ASSERT_EQ(result[i * width + width - 1], scan.merge ? scan.values[i] : sums[i])
                << i << " of " << count;
        }
    }
};

TEST_F(PrefixSumTest, SumsPairsAndTotalsAreExactAtEverySize) {
    for (const Int64 count : {1, 2, 31, 4096, 4097, 16384, 16385, 100000, 1000003, (1 << 24) + 5}) {
        for (const bool merge : {false, true}) {
            if (IsTooLarge(static_cast<size_t>(count))) continue;
            const Scan scan = Prepare(count, merge);
            UInt32 total = 0;
            Start(scan, queue, &total);
            Check(scan);
            const auto end = scan.values.begin() + count;
            EXPECT_EQ(total, std::accumulate(scan.values.begin(), end, UInt32{0})) << count;
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
    std::vector<Scan> scans;
    for (int round = 0; round < 3; round++) {
        for (const OpenCLCommandQueueRef& each : {queue, other, outOfOrder, outOfOrder, released}) {
            scans.push_back(Prepare(200000 + round * 1000, round % 2 == 1));
            Start(scans.back(), each);
        }
    }
    ASSERT_TRUE(IsOk(released.Finish()));
    ASSERT_TRUE(IsOk(released.Release()));
    Start(scans[0], queue);
    for (const OpenCLCommandQueueRef& each : {queue, other, outOfOrder}) ASSERT_TRUE(IsOk(each.Finish()));
    for (const Scan& scan : scans) Check(scan);
}

}  // namespace

}  // namespace nuvra::test
