// A module that wants the registry key of the good one for itself.
#include "nuvra/registry.h"

using namespace nuvra;

namespace {
constinit ModuleRecord g_module{"zoo.registry_clash", 0};
constinit ClassRecord g_class{
    {{RecordKind::CLASS, "zoo.registry_clash.Counter", nullptr, kDeclaration}, nullptr}, Id(), nullptr, 0};
constinit RegistryEntryRecord g_entry{
    {{RecordKind::REGISTRY_ENTRY, "zoo.Classes:counter", nullptr, 0}, nullptr}, "zoo.registry_clash.Counter"};
}  // namespace

NUVRA_EXPORT_MODULES;

namespace {
const ModuleRegistration g_registration(g_privateModules, g_module, {});
const SourceUnit g_unit(g_module, "registry_clash", {&g_class, &g_entry});
}  // namespace
