#include <map>

#include "module_fixture.h"
#include "nuvra/dll.h"

namespace nuvra::test {
namespace {

TEST_F(ModuleTest, TheLibraryListsItsFiveModulesLatestFirstAndEveryInterfaceOnce) {
    const UrlRef url = UrlRef::Create().GetValue();
    ASSERT_TRUE(IsOk(url.SetPath(MakeText(OPENCL_MODULE_FILE))));
    const DllRef library = DllRef::Load(url, false).GetValue();
    const CString name = CString::FromText("g_privateModules").GetValue();
    auto** list = static_cast<ModuleRecord**>(library.FindSymbol(name).GetValue());
    ASSERT_NE(list, nullptr);
    Texts modules;
    std::map<std::string, Int> declared;
    std::map<std::string, Int> implemented;
    for (const ModuleRecord* module = *list; module != nullptr; module = module->next) {
        std::string& text = modules.emplace_back(module->id.GetText());
        text += module->flags == 0x101 ? " principal" : module->flags == 0x1101 ? " framework" : " ?";
        for (Int i = 0; i < module->dependencyCount; i++)
            text += std::string(" ") + module->dependencies[i].GetText();
        EXPECT_EQ(static_cast<int>(module->kind), 5);
        EXPECT_EQ(module->listHead, list);
        EXPECT_STREQ(module->owner->id.GetText(), "main") << "the source unit that registers it";
        for (const EntityRecord* unit = module->sourceUnits; unit != nullptr; unit = unit->next)
            for (const EntityRecord* entity = static_cast<const SourceUnitRecord*>(unit)->entities;
                 entity != nullptr; entity = entity->next) {
                if (entity->kind != RecordKind::INTERFACE || (entity->flags & kReference) != 0) continue;
                const auto* record = static_cast<const InterfaceRecord*>(entity);
                auto& found = (entity->flags & kDeclaration) != 0 ? declared : implemented;
                EXPECT_TRUE(found.emplace(entity->id.GetText(), record->operationCount).second);
                const bool isImplementation = (entity->flags & kImplementation) != 0;
                EXPECT_STREQ(record->initialState.GetText(), isImplementation ? "uninitialized" : "");
            }
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
    EXPECT_EQ(declared.erase("nuvra.OpenGLCLTrace#1"), 1U);
    EXPECT_EQ(declared.size(), 9U);
    EXPECT_EQ(implemented, declared);
}

}  // namespace
}  // namespace nuvra::test
