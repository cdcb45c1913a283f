#include "device_fixture.h"

namespace nuvra::test {

namespace {

TEST_F(DeviceTest, ClearedBytesHoldTheValueAndTheBytesBehindThemStay) {
    const OpenCLTaskRef task = GetTask("clearmem");
    constexpr size_t kGuard = 64;
    for (const Int64 size : {0, 1, 15, 16, 17, 35, 48, 4095, 4096, 65536 + 13, 1 << 20}) {
        for (const UChar value : {UChar{0}, UChar{0xAB}, UChar{0xFF}}) {
            std::vector<UChar> bytes(static_cast<size_t>(size) + kGuard);
            for (size_t i = 0; i < bytes.size(); i++) bytes[i] = static_cast<UChar>(i * 31 + 7);
            const OpenCLMemoryObjectRef buffer = CreateBuffer(bytes);
            const ClearMemParameters parameters{1, &buffer, size, value};
            ASSERT_TRUE(IsOk(task.Execute(context, queue, &parameters)));
            std::fill_n(bytes.begin(), size, value);
            EXPECT_EQ(ReadBuffer(buffer, bytes.size()), bytes) << size << " bytes of " << int{value};
        }
    }
}

}  // namespace

}  // namespace nuvra::test
