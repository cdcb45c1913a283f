// A module with a component that overrides an interface as it was before its latest operation.
#include "nuvra/error.h"
#include "nuvra/string.h"

using namespace nuvra;

namespace {

constexpr ErrorInterface::Operations kTable{};
constexpr ComponentInterface kInterfaces[] = {
    {ErrorInterface::kId, &kTable, kOperationCount<ErrorInterface> - 1}};
constexpr ComponentOperations kOperations{[](void*) {}, [](void*) {}, nullptr, nullptr};
constexpr Id kComponents[] = {"zoo.outdated"};

constinit ModuleRecord g_module{"zoo.outdated", 0};
constinit ComponentRecord g_component{{{RecordKind::COMPONENT, "zoo.outdated", nullptr, 0}, nullptr},
                                      ".OutdatedImpl",
                                      0,
                                      1,
                                      &kOperations,
                                      kInterfaces,
                                      1};
constinit ClassRecord g_classes[] = {
    {{{RecordKind::CLASS, "zoo.OutdatedErrorObject", nullptr, kDeclaration}, nullptr},
     "nuvra.ErrorObject",
     kComponents,
     1},
    {{{RecordKind::CLASS, "zoo.DerivedErrorObject", nullptr, kDeclaration}, nullptr},
     "zoo.OutdatedErrorObject",
     nullptr,
     0},
};
constinit RegistryEntryRecord g_entry{
    {{RecordKind::REGISTRY_ENTRY, "zoo.Classes:outdated", nullptr, 0}, nullptr}, "zoo.DerivedErrorObject"};

}  // namespace

NUVRA_EXPORT_MODULES;

namespace {
const ModuleRegistration g_registration(g_privateModules, g_module, {});
const SourceUnit g_unit(g_module, "outdated", {&g_component, &g_classes[0], &g_classes[1], &g_entry});
}  // namespace
