#pragma once

#include "nuvra/open_cl.h"
#include "test_host.h"

namespace nuvra::test {

/// The module on a real OpenCL runtime: the system's own, or the file that NUVRA_OPENCL_RUNTIME names. Uses
/// the first device of the first platform that has one.
class DeviceTest : public testing::Test {
protected:
    DeviceTest();
    void SetUp() override;

    OpenCLTaskRef GetTask(std::string_view name);
    OpenCLMemoryObjectRef CreateImage(OpenCLChannelDataType type, size_t width, size_t height);
    void WriteImage(const OpenCLMemoryObjectRef& image, size_t width, size_t height, const void* pixels);
    void ReadImage(const OpenCLMemoryObjectRef& image, size_t width, size_t height, void* pixels);
    OpenCLMemoryObjectRef CreateBuffer(const std::vector<UChar>& bytes);
    std::vector<UChar> ReadBuffer(const OpenCLMemoryObjectRef& buffer, size_t size);
    /// A built program of the context's device.
    OpenCLProgramRef BuildProgram(const char* source);

    TestHost host;  // outlives the objects below
    OpenCLContextRef context;
    OpenCLDeviceRef device;
    OpenCLCommandQueueRef queue;
};

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

}  // namespace nuvra::test
