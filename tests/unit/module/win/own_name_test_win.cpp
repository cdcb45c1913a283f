#include "module_fixture.h"

namespace nuvra::test {
namespace {

/// The fake runtime lies beside this program as "opencl.dll", the name that the module asks for.
TEST(RuntimeTest, TheLibraryBesideTheProgramIsFoundByItsName) {
    fake::Control& fake = fake::Control::Get();
    fake.Reset();
    TestHost host;
    ASSERT_TRUE(IsOk(host.Start({OPENCL_MODULE_FILE})));
    EXPECT_EQ(host.diagnostics, Texts());
    EXPECT_TRUE(OpenCL::IsAvailable());
    EXPECT_EQ(fake.TextsOf("clGetPlatformIDs"), (Texts{"0, null, ptr"})) << "this is another runtime";
}

}  // namespace
}  // namespace nuvra::test
