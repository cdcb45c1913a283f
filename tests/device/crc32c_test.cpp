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

    /// Whether one work-item of this device takes that many steps of a loop.
    bool FinishesLoopOf(UInt32 steps) {
        const OpenCLKernelRef kernel =
            Get(BuildProgram("__kernel void Count(__global uint* values, uint count) {\n"
                             "    uint value = values[0];\n"
                             "    for (uint i = 0; i < count; i++) value = value * 1664525u + 1013904223u;\n"
                             "    values[0] = value;\n"
                             "}\n")
                    .CreateKernel("Count"));
        const OpenCLMemoryObjectRef buffer = CreateBuffer(std::vector<UChar>(4));
        const size_t one = 1;
        UInt32 value = 0;
        EXPECT_TRUE(IsOk(kernel.SetArg(0, buffer)));
        EXPECT_TRUE(IsOk(kernel.SetArg(1, &steps, 1)));
        EXPECT_TRUE(IsOk(queue.EnqueueNDRangeKernel(kernel, 1, nullptr, &one, nullptr)));
        EXPECT_TRUE(IsOk(queue.EnqueueReadBuffer(buffer, true, 0, sizeof(value), &value)));
        UInt32 expected = 0;
        for (UInt32 i = 0; i < steps; i++) expected = expected * 1664525U + 1013904223U;
        return value == expected;
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
    // From 64 KiB on, eight bytes are taken at once and the rest one by one.
    for (const UInt32 size : {0U, 1U, 7U, 8U, 1000U, 65535U, 65536U, 65541U, 300007U, 1048579U}) {
        const UInt32 steps = size < 65536 ? size + 1 : size / 8 + 2048;
        if (!FinishesLoopOf(steps)) {
            std::cout << size << " bytes left out: this device ends a loop of " << steps << " steps early\n";
            continue;
        }
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
