// A module that implements a service of the host.
#include "nuvra/system.h"

namespace {
constexpr nuvra::System::Operations kTable{};
constinit nuvra::ModuleRecord g_module{"zoo.second_implementation", 0};
constinit nuvra::InterfaceRecord g_implementation =
    nuvra::ImplementInterface<nuvra::System>("zoo.System", "System", kTable);
}  // namespace

NUVRA_EXPORT_MODULES;

namespace {
const nuvra::ModuleRegistration g_registration(g_privateModules, g_module, {});
const nuvra::SourceUnit g_unit(g_module, "second_implementation", {&g_implementation});
}  // namespace
