#include "device_fixture.h"
#include "references.h"

namespace nuvra::test {

namespace {

class Crc32cTest : public DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        task = GetTask("crc32c");
        crc = CreateBuffer(std::vector<UChar>(4));
    }

    void Add(const std::vector<UChar>& bytes, bool start) {
        // An empty piece still needs a buffer to point at.
        const OpenCLMemoryObjectRef data = CreateBuffer(bytes.empty() ? std::vector<UChar>(1) : bytes);
        const Crc32cParameters parameters{1, &data, &crc, static_cast<Int32>(bytes.size()), start};
        ASSERT_TRUE(IsOk(task.Execute(context, queue, &parameters)));
    }

    UInt32 Finish() {
        UInt32 value = 0;
        EXPECT_TRUE(IsOk(queue.EnqueueReadBuffer(crc, true, 0, sizeof(value), &value)));
        return ~value;
    }

    OpenCLTaskRef task;
    OpenCLMemoryObjectRef crc;
};

std::vector<UChar> MakeBytes(size_t size) {
    std::vector<UChar> bytes(size);
    for (size_t i = 0; i < size; i++) bytes[i] = static_cast<UChar>(i * 167 + (i >> 8) * 31);
    return bytes;
}

TEST_F(Crc32cTest, TheValueIsTheDefinitionsAtEverySize) {
    Add({'1', '2', '3', '4', '5', '6', '7', '8', '9'}, true);
    EXPECT_EQ(Finish(), 0xE3069283U);
    // From 16 KiB on, eight bytes are taken at once in rounds of 128, and the rest one by one. A device may
    // end a work-item's loops after 65535 rounds.
    for (const UInt32 size :
         {0U, 1U, 8U, 1000U, 16383U, 16384U, 16389U, 65535U, 300127U, 4194304U, 5000001U}) {
        Add(MakeBytes(size), true);
        EXPECT_EQ(Finish(), Crc32c(MakeBytes(size))) << size;
    }
}

TEST_F(Crc32cTest, PiecesGiveTheValueOfTheWholeAtEverySplit) {
    const std::vector<UChar> whole = MakeBytes(70);
    for (size_t split = 0; split <= whole.size(); split++) {
        const auto middle = whole.begin() + static_cast<std::ptrdiff_t>(split);
        Add({whole.begin(), middle}, true);
        Add({middle, whole.end()}, false);
        ASSERT_EQ(Finish(), Crc32c(whole)) << split;
    }
}

}  // namespace

}  // namespace nuvra::test
