// Modules with one thing wrong: ZOO_RECORDS lists the records of a module that is called ZOO_ID.
#include "nuvra/registry.h"
#include "nuvra/system.h"

using namespace nuvra;

namespace {

constinit ModuleRecord g_module{ZOO_ID, 0};

// Of a kind that the host has never heard of, from a later day.
[[maybe_unused]] constinit EntityRecord g_unknown{{RecordKind{99}, "zoo.from_the_future", nullptr, 0},
                                                  nullptr};

// As when the system service had one operation more.
[[maybe_unused]] constinit InterfaceRecord g_operationCount{System::kId, kReference, System::kHeader,
                                                            kOperationCount<System> + 1};

// Of a service that the host implements.
constexpr System::Operations kSystemTable{};
[[maybe_unused]] constinit InterfaceRecord g_secondImplementation =
    ImplementInterface<System>("zoo.System", "System", kSystemTable);

// The registry key of the good module.
[[maybe_unused]] constinit ClassRecord g_class{
    {{RecordKind::CLASS, "zoo.registry_clash.Counter", nullptr, kDeclaration}, nullptr}, Id(), nullptr, 0};
[[maybe_unused]] constinit RegistryEntryRecord g_entry{
    {{RecordKind::REGISTRY_ENTRY, "zoo.Classes:counter", nullptr, 0}, nullptr}, "zoo.registry_clash.Counter"};

}  // namespace

NUVRA_EXPORT_MODULES;

namespace {
const ModuleRegistration g_registration(g_privateModules, g_module, {});
const SourceUnit g_unit(g_module, "broken", {ZOO_RECORDS});
}  // namespace
