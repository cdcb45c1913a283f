// A module with all that a module can have: two classes, one of them an error, a registry entry, an
// initializer, and a framework beside it.
#include "nuvra/diagnostic.h"
#include "nuvra/registry.h"
#include "zoo.h"

using namespace nuvra;

namespace {

constexpr Id kDependencies[] = {"net.nuvra.core.framework", "zoo.good.framework", "zoo.base"};
constexpr Id kFrameworkDependencies[] = {"net.nuvra.core.framework"};
constinit ModuleRecord g_module{"zoo.good", 0, kDependencies};
constinit ModuleRecord g_framework{"zoo.good.framework", kModuleFramework, kFrameworkDependencies};

struct CounterData {
    Int64 value = 0;
    String name;
};

constexpr zoo::Counter::Operations kCounterTable{
    [](void* data) -> Int { return ++static_cast<CounterData*>(data)->value; }};
constexpr ComponentInterface kCounterInterfaces[] = {{zoo::Counter::kId, &kCounterTable, 1}};

/// Not to be copied.
constexpr ComponentOperations kCounterOperations{
    [](void* data) { new (data) CounterData; },
    [](void* data) { static_cast<CounterData*>(data)->~CounterData(); },
    nullptr,
    [](BaseArray<MemberDescription>& members) {
        return members.Append({"_value", DataTypeTraits<Int64>::kId, offsetof(CounterData, value)});
    },
};

/// Shouts the text that it was given.
constexpr ErrorInterface::Operations kShoutTable{
    .Destroy = nullptr,
    .GetMessage = [](Object* error, void*) -> String {
        String text = Table<ErrorInterface>()->GetStoredMessage(error);
        auto shout = Diagnostic::Format("@!", {text.GetView()});
        return shout.IsOk() ? shout.GetValue() : text;
    },
    .GetStoredMessage = nullptr,
    .SetMessage = nullptr,
    .GetLocation = nullptr,
    .SetLocation = nullptr,
    .GetClassId = nullptr,
    .Create = nullptr,
};
constexpr ComponentInterface kShoutInterfaces[] = {
    {ErrorInterface::kId, &kShoutTable, kOperationCount<ErrorInterface>}};
constexpr ComponentOperations kShoutOperations{[](void*) {}, [](void*) {}, nullptr, nullptr};

constinit ComponentRecord g_components[] = {
    {{{RecordKind::COMPONENT, "zoo.part", nullptr, 0}, nullptr},
     ".CounterImpl",
     sizeof(CounterData),
     alignof(CounterData),
     &kCounterOperations,
     kCounterInterfaces,
     1},
    {{{RecordKind::COMPONENT, "zoo.part", nullptr, 0}, nullptr},
     ".ShoutImpl",
     0,
     1,
     &kShoutOperations,
     kShoutInterfaces,
     1},
};
constexpr Id kCounterComponents[] = {"zoo.part.CounterImpl"};
constexpr Id kShoutComponents[] = {"zoo.part.ShoutImpl"};
constinit ClassRecord g_classes[] = {
    {{{RecordKind::CLASS, "zoo.Counter", nullptr, kDeclaration}, nullptr}, Id(), kCounterComponents, 1},
    {{{RecordKind::CLASS, "zoo.ShoutErrorObject", nullptr, kDeclaration}, nullptr},
     "nuvra.ErrorObject",
     kShoutComponents,
     1},
};
constinit RegistryEntryRecord g_entry{
    {{RecordKind::REGISTRY_ENTRY, "zoo.Classes:counter", nullptr, 0}, nullptr}, "zoo.Counter"};

constinit InitializerRecord g_initializer{{{RecordKind::INITIALIZER, "zoo.good", nullptr, 0}, nullptr},
                                          []() -> Result<void> {
                                              zoo::Log("+zoo.good");
                                              return {};
                                          },
                                          [] { zoo::Log("-zoo.good"); }};

}  // namespace

NUVRA_EXPORT_MODULES;

namespace {
const ModuleRegistration g_registration(g_privateModules, g_module, {&g_framework});
const SourceUnit g_unit(g_module, "good",
                        {&g_components[0], &g_components[1], &g_classes[0], &g_classes[1], &g_entry,
                         &g_initializer});
}  // namespace
