#pragma once

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

/// The OpenCL code of an error; 0 for a success, and for an error of another class.
template <class T>
Int32 CodeOf(const Result<T>& result) {
    return OpenCLErrorRef(result.GetError()).GetErrorCode();
}

/// The module on a real OpenCL runtime: the system's own, or the file that NUVRA_OPENCL_RUNTIME names. Uses
/// the first device of the first platform that has one.
class DeviceTest : public testing::Test {
protected:
    DeviceTest();
    void SetUp() override;

    void Execute(std::string_view task, const void* record, const OpenCLCommandQueueRef& on) {
        ASSERT_TRUE(IsOk(Get(context.GetTask(MakeText(task))).Execute(context, on, record)));
    }
    void Execute(std::string_view task, const void* record) { Execute(task, record, queue); }
    OpenCLMemoryObjectRef CreateImage(OpenCLChannelDataType type, Int64 width, Int64 height);
    template <class T>
    OpenCLMemoryObjectRef SendImage(OpenCLChannelDataType type, Int64 width, const std::vector<T>& pixels) {
        const auto row = static_cast<size_t>(width);
        const size_t region[] = {row, pixels.size() / 4 / row, 1};
        OpenCLMemoryObjectRef image = CreateImage(type, width, static_cast<Int64>(region[1]));
        EXPECT_TRUE(IsOk(queue.EnqueueWriteImage(image, true, kOrigin, region, 0, 0, pixels.data())));
        return image;
    }
    /// As many pixels as were sent.
    template <class T>
    std::vector<T> ReadImage(const OpenCLMemoryObjectRef& image, Int64 width, Int64 height) {
        const size_t region[] = {static_cast<size_t>(width), static_cast<size_t>(height), 1};
        std::vector<T> pixels(region[0] * region[1] * 4);
        EXPECT_TRUE(IsOk(queue.EnqueueReadImage(image, true, kOrigin, region, 0, 0, pixels.data())));
        return pixels;
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
    static bool IsTooLarge(size_t size);
    /// A built program of the context's device.
    OpenCLProgramRef BuildProgram(const char* source);

    static constexpr size_t kOrigin[3] = {};
    TestHost host;  // outlives the objects below
    OpenCLContextRef context;
    OpenCLDeviceRef device;
    OpenCLCommandQueueRef queue;
};

}  // namespace nuvra::test
