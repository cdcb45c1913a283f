// A module that was built when the system service had one operation more.
#include "nuvra/system.h"

namespace {
constinit nuvra::ModuleRecord g_module{"zoo.operation_count", 0};
constinit nuvra::InterfaceRecord g_reference{nuvra::System::kId, nuvra::kReference, nuvra::System::kHeader,
                                             nuvra::kOperationCount<nuvra::System> + 1};
}  // namespace

NUVRA_EXPORT_MODULES;

namespace {
const nuvra::ModuleRegistration g_registration(g_privateModules, g_module, {});
const nuvra::SourceUnit g_unit(g_module, "operation_count", {&g_reference});
}  // namespace
