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

OpenCLMemoryObjectRef DeviceTest::CreateImage(OpenCLChannelDataType type, Int64 width, Int64 height) {
    return Get(context.CreateImage2D(OpenCLMemoryFlags::READ_WRITE, {OpenCLChannelOrder::RGBA, type},
                                     static_cast<UInt64>(width), static_cast<UInt64>(height)));
}

bool DeviceTest::IsTooLarge(size_t size) {
    const char* largest = std::getenv("NUVRA_TEST_LARGEST");
    return largest != nullptr && size > std::stoul(largest);
}

OpenCLProgramRef DeviceTest::BuildProgram(const char* source) {
    OpenCLProgramRef program = Get(context.CreateProgramWithSource(1, &source));
    EXPECT_TRUE(IsOk(program.Build(context.GetDevices(), nullptr)));
    return program;
}

}  // namespace nuvra::test
