#include "module_fixture.h"
#include "nuvra/dll.h"

namespace nuvra::test {
namespace {

TEST_F(ModuleTest, TheLibraryListsItsFiveModulesLatestFirst) {
    const UrlRef url = UrlRef::Create().GetValue();
    ASSERT_TRUE(IsOk(url.SetPath(MakeText(OPENCL_MODULE_FILE))));
    const DllRef library = DllRef::Load(url, false).GetValue();
    const CString name = CString::FromText("g_privateModules").GetValue();
    auto** list = static_cast<ModuleRecord**>(library.FindSymbol(name).GetValue());
    ASSERT_NE(list, nullptr);
    Texts modules;
    for (const ModuleRecord* module = *list; module != nullptr; module = module->next) {
        std::string& text = modules.emplace_back(module->id.GetText());
        text += module->flags == 0x101 ? " principal" : module->flags == 0x1101 ? " framework" : " ?";
        for (Int i = 0; i < module->dependencyCount; i++)
            text += std::string(" ") + module->dependencies[i].GetText();
        EXPECT_TRUE(module->listHead == list && module->owner->id == Id("main")) << text;
    }
    const std::string core = " net.nuvra.core.framework";
    const std::string openGL = " net.nuvra.private_opengl.framework";
    const std::string trace = " net.nuvra.private_oglclvk_trace.framework";
    EXPECT_EQ(modules, (Texts{"net.nuvra.private_oglclvk_trace.framework framework" + core,
                              "net.nuvra.private_opencl.framework framework" + core + openGL + trace,
                              "net.nuvra.private_opengl.framework framework" + core + trace,
                              "net.nuvra.opencl.framework framework" + core,
                              "net.nuvra.opencl principal" + core + " net.nuvra.opencl.framework" + openGL +
                                  " net.nuvra.private_opencl.framework"}));
}

}  // namespace
}  // namespace nuvra::test
