#include <map>

#include "module_fixture.h"
#include "nuvra/dll.h"

namespace nuvra::test {
namespace {

class RecordsTest : public ModuleTest {
protected:
    /// The list that the module's library exports.
    ModuleRecord** FindList() {
        const UrlRef url = UrlRef::Create().GetValue();
        EXPECT_EQ(Outcome(url.SetPath(MakeText(OPENCL_MODULE_FILE))), "OK");
        _library = DllRef::Load(url, false).GetValue();
        return static_cast<ModuleRecord**>(
            _library.FindSymbol(CString::FromText("g_privateModules").GetValue()).GetValue());
    }
    void TearDown() override {
        _library = nullptr;
        ModuleTest::TearDown();
    }

private:
    DllRef _library;
};

TEST_F(RecordsTest, TheLibraryListsItsFiveModulesLatestFirst) {
    ModuleRecord** list = FindList();
    ASSERT_NE(list, nullptr);
    Texts modules;
    for (const ModuleRecord* module = *list; module != nullptr; module = module->next) {
        std::string text = module->id.GetText();
        text += module->flags == 0x101 ? " principal" : module->flags == 0x1101 ? " framework" : " ?";
        for (Int i = 0; i < module->dependencyCount; i++)
            text += std::string(" ") + module->dependencies[i].GetText();
        modules.push_back(text);
        EXPECT_EQ(static_cast<int>(module->kind), 5);
        EXPECT_EQ(module->listHead, list);
        EXPECT_STREQ(module->owner->id.GetText(), "main") << "the source unit that registers it";
    }
    const std::string core = " net.nuvra.core.framework";
    const std::string openGL = " net.nuvra.private_opengl.framework";
    const std::string trace = " net.nuvra.private_oglclvk_trace.framework";
    const Texts expected = {
        "net.nuvra.private_oglclvk_trace.framework framework" + core,
        "net.nuvra.private_opencl.framework framework" + core + openGL + trace,
        "net.nuvra.private_opengl.framework framework" + core + trace,
        "net.nuvra.opencl.framework framework" + core,
        "net.nuvra.opencl principal" + core + " net.nuvra.opencl.framework" + openGL +
            " net.nuvra.private_opencl.framework",
    };
    EXPECT_EQ(modules, expected);
}

TEST_F(RecordsTest, EveryInterfaceIsDeclaredAndImplementedOnce) {
    std::map<std::string, Int> declared;
    std::map<std::string, Int> implemented;
    ModuleRecord** list = FindList();
    ASSERT_NE(list, nullptr);
    for (const ModuleRecord* module = *list; module != nullptr; module = module->next)
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
    EXPECT_EQ(declared.erase("nuvra.OpenGLCLTrace#1"), 1U);
    EXPECT_EQ(declared.size(), 9U);
    EXPECT_EQ(implemented, declared);
}

}  // namespace
}  // namespace nuvra::test
