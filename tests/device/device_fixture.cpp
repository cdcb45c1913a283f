#include "device_fixture.h"

#include <cstdlib>

namespace nuvra::test {

namespace {

std::map<std::string, std::string> ChosenRuntime() {
    const char* runtime = std::getenv("NUVRA_OPENCL_RUNTIME");
    if (runtime == nullptr) return {};
    return {{OPENCL_RUNTIME_NAME, runtime}};
}

}  // namespace

DeviceTest::DeviceTest() : host(ChosenRuntime()) {}

void DeviceTest::SetUp() {
    ASSERT_TRUE(IsOk(host.Start({OPENCL_MODULE_FILE})));
    BaseArray<OpenCLPlatformRef> platforms;
    ASSERT_TRUE(IsOk(OpenCL::GetPlatforms(platforms)));
    BaseArray<OpenCLDeviceRef> devices;
    for (const OpenCLPlatformRef& platform : platforms)
        if (devices.IsEmpty()) static_cast<void>(platform.GetDevices(devices));
    ASSERT_FALSE(devices.IsEmpty()) << "no platform of this runtime has a device";
    if (const char* expected = std::getenv("NUVRA_TEST_PLATFORM")) {
        const Result<Data> name = platforms[0].GetInfo(OpenCLPlatformInfo::NAME);
        ASSERT_EQ(name.GetValue().Find<String>()->GetView(), expected) << "this is another runtime";
    }
    device = devices[0];
    const auto number = [&](UInt32 which) {
        return reinterpret_cast<void*>(*Get(device.GetInfo(which)).Find<Int64>());
    };
    BaseArray<cl_device_id> ids;
    ASSERT_TRUE(IsOk(ids.Append(static_cast<cl_device_id>(number(OpenCLDeviceInfo::ID)))));
    context =
        Get(OpenCL::CreateContext(static_cast<cl_platform_id>(number(OpenCLDeviceInfo::PLATFORM)), ids));
    queue = Get(context.CreateCommandQueue());
}

OpenCLTaskRef DeviceTest::GetTask(std::string_view name) {
    return Get(context.GetTask(MakeText(name)));
}

OpenCLMemoryObjectRef DeviceTest::CreateImage(OpenCLChannelDataType type, size_t width, size_t height) {
    return Get(context.CreateImage2D(OpenCLMemoryFlags::READ_WRITE, {OpenCLChannelOrder::RGBA, type}, width,
                                     height));
}

void DeviceTest::WriteImage(const OpenCLMemoryObjectRef& image, size_t width, size_t height,
                            const void* pixels) {
    const size_t origin[] = {0, 0, 0};
    const size_t region[] = {width, height, 1};
    ASSERT_TRUE(IsOk(queue.EnqueueWriteImage(image, true, origin, region, 0, 0, pixels)));
}

void DeviceTest::ReadImage(const OpenCLMemoryObjectRef& image, size_t width, size_t height, void* pixels) {
    const size_t origin[] = {0, 0, 0};
    const size_t region[] = {width, height, 1};
    ASSERT_TRUE(IsOk(queue.EnqueueReadImage(image, true, origin, region, 0, 0, pixels)));
}

OpenCLMemoryObjectRef DeviceTest::CreateBuffer(const std::vector<UChar>& bytes) {
    return Get(context.CreateBuffer(OpenCLMemoryFlags::READ_WRITE | OpenCLMemoryFlags::COPY_HOST_PTR,
                                    bytes.size(), const_cast<UChar*>(bytes.data())));
}

std::vector<UChar> DeviceTest::ReadBuffer(const OpenCLMemoryObjectRef& buffer, size_t size) {
    std::vector<UChar> bytes(size);
    EXPECT_TRUE(IsOk(queue.EnqueueReadBuffer(buffer, true, 0, size, bytes.data())));
    return bytes;
}

OpenCLProgramRef DeviceTest::BuildProgram(const char* source) {
    OpenCLProgramRef program = Get(context.CreateProgramWithSource(1, &source));
    EXPECT_TRUE(IsOk(program.Build(context.GetDevices(), nullptr)));
    return program;
}

}  // namespace nuvra::test
