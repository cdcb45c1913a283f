#include "device_fixture.h"
#include "gl_window.h"

namespace nuvra::test {
namespace {

constinit InterfaceRecord g_record = ImplementInterface<OpenGLContextInterface>(
    "net.nuvra.test.gl", "OpenGLContextImpl", kOpenGLContextOperations);
SourceUnit g_unit{g_program, "gl_sharing_test_win", {&g_record}};

constexpr int kSide = 4;

using RenderingContextTest = DeviceTest;

/// The OpenCL code of an error; 0 for a success, and for an error of another class.
Int32 CodeOf(const Result<OpenCLContextRef>& result) {
    return OpenCLErrorRef(result.GetError()).GetErrorCode();
}

TEST_F(RenderingContextTest, ARuntimeThatCannotShareSaysSoEachTimeKeepsNothingAndLeavesTheContextUsable) {
    if (device.HasExtension(MakeText("cl_khr_gl_sharing")))
        GTEST_SKIP() << "this device can share with OpenGL";
    GLWindow window{L"Test", kSide, kSide};
    const OpenGLContextRef gl = window.MakeContextObject();
    BaseArray<OpenCLDeviceRef> devices;
    ASSERT_TRUE(IsOk(devices.Append(device)));
    const Int before = host::CountAllocations();
    for (int i = 0; i < 50; i++) {
        ASSERT_EQ(CodeOf(OpenCL::CreateGLSharedContext(gl, nullptr)),
                  static_cast<Int32>(OpenCLErrorCode::NO_MATCHING_PLATFORM));
        ASSERT_EQ(CodeOf(OpenCL::CreateGLSharedContext(gl, platform)),
                  static_cast<Int32>(OpenCLErrorCode::EXTENSION_NOT_SUPPORTED));
        ASSERT_EQ(CodeOf(OpenCL::CreateGLSharedContextForDevices(gl, devices)), CL_INVALID_PROPERTY);
    }
    EXPECT_EQ(host::CountAllocations(), before);
    Rgba pixels;
    for (int i = 0; i < 64; i++) pixels.push_back(static_cast<UChar>(i * 3));
    EXPECT_EQ(window.ReadTexture(window.MakeTexture(kSide, pixels), kSide), pixels);
}

}  // namespace
}  // namespace nuvra::test
