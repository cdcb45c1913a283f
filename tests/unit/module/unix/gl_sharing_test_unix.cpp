#include "gl_context.h"
#include "module_fixture.h"

namespace nuvra::test {
namespace {

TEST_F(ModuleTest, OpenGLSharingIsRefusedWhereTheSystemHasNone) {
    const BaseArray<OpenCLDeviceRef> devices;
    EXPECT_EQ(Outcome(OpenCL::CreateGLSharedContext({}, nullptr)), kNullPointer);
    const OpenGLContextRef gl = MakeGLContext();
    EXPECT_EQ(Outcome(OpenCL::CreateGLSharedContext(gl, nullptr)), "EXTENSION_NOT_SUPPORTED");
    EXPECT_EQ(Outcome(OpenCL::CreateGLSharedContextForDevices(gl, devices)), "EXTENSION_NOT_SUPPORTED");
}

}  // namespace
}  // namespace nuvra::test
