#include "module_fixture.h"
#include "nuvra/opengl_context.h"

namespace nuvra::test {
namespace {

TEST_F(ModuleTest, OpenGLSharingIsRefusedWhereTheSystemHasNone) {
    const BaseArray<OpenCLDeviceRef> devices;
    EXPECT_EQ(Outcome(OpenCL::CreateGLSharedContext({}, nullptr)), "EXTENSION_NOT_SUPPORTED");
    EXPECT_EQ(Outcome(OpenCL::CreateGLSharedContextForDevices({}, devices)), "EXTENSION_NOT_SUPPORTED");
}

}  // namespace
}  // namespace nuvra::test
