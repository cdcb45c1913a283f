#pragma once

#include <cstdlib>

#include "nuvra/open_cl.h"
#include "references.h"
#include "test_host.h"

namespace nuvra::test {

/// The value of an operation that must succeed.
template <class T>
T Get(Result<T> result) {
    EXPECT_TRUE(IsOk(result));
    return std::move(result).GetValue();
}

/// The module on a real OpenCL runtime: the system's own, or the file that NUVRA_OPENCL_RUNTIME names. Uses
/// the first device of the first platform that has one.
class DeviceTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(IsOk(host.Start({OPENCL_MODULE_FILE})));
        BaseArray<OpenCLPlatformRef> platforms;
        ASSERT_TRUE(IsOk(OpenCL::GetPlatforms(platforms)));
        BaseArray<OpenCLDeviceRef> devices;
        for (const OpenCLPlatformRef& each : platforms)
            if (devices.IsEmpty()) static_cast<void>(each.GetDevices(devices));
        ASSERT_FALSE(devices.IsEmpty()) << "no platform of this runtime has a device";
        if (const char* expected = std::getenv("NUVRA_TEST_PLATFORM")) {
            const Data name = Get(platforms[0].GetInfo(OpenCLPlatformInfo::NAME));
            ASSERT_EQ(name.Find<String>()->GetView(), expected) << "this is another runtime";
        }
        device = devices[0];
        const auto number = [&](UInt32 which) {
            return reinterpret_cast<void*>(*Get(device.GetInfo(which)).Find<Int64>());
        };
        platform = static_cast<cl_platform_id>(number(OpenCLDeviceInfo::PLATFORM));
        BaseArray<cl_device_id> ids;
        ASSERT_TRUE(IsOk(ids.Append(static_cast<cl_device_id>(number(OpenCLDeviceInfo::ID)))));
        context = Get(OpenCL::CreateContext(platform, ids));
        queue = Get(context.CreateCommandQueue());
    }

    void Execute(std::string_view task, const void* record, const OpenCLCommandQueueRef& on) {
        ASSERT_TRUE(IsOk(Get(context.GetTask(MakeText(task))).Execute(context, on, record)));
    }
    template <class T>
    OpenCLMemoryObjectRef CreateBuffer(const std::vector<T>& values) {
        return Get(context.CreateBuffer(OpenCLMemoryFlags::READ_WRITE | OpenCLMemoryFlags::COPY_HOST_PTR,
                                        values.size() * sizeof(T), const_cast<T*>(values.data())));
    }
    template <class T>
    std::vector<T> ReadBuffer(const OpenCLMemoryObjectRef& buffer, size_t count) {
        std::vector<T> values(count);
        EXPECT_TRUE(IsOk(queue.EnqueueReadBuffer(buffer, true, 0, count * sizeof(T), values.data())));
        return values;
    }
    /// Whether something of that size would take a simulator too long.
    static bool IsTooLarge(size_t size) {
        const char* largest = std::getenv("NUVRA_TEST_LARGEST");
        return largest != nullptr && size > std::stoul(largest);
    }

    static std::map<std::string, std::string> ChooseRuntime() {
        const char* runtime = std::getenv("NUVRA_OPENCL_RUNTIME");
        if (runtime == nullptr) return {};
        return {{OPENCL_RUNTIME_NAME, runtime}};
    }
    TestHost host{ChooseRuntime()};  // outlives the objects below
    OpenCLContextRef context;
    OpenCLDeviceRef device;
    cl_platform_id platform = nullptr;
    OpenCLCommandQueueRef queue;
};

}  // namespace nuvra::test
