// A module that only starts and ends. ZOO_ID and ZOO_DEPENDENCIES are its record; with ZOO_FAILS it does not
// start.
#include "nuvra/string.h"
#include "zoo.h"

namespace {

constexpr nuvra::Id kDependencies[] = {ZOO_DEPENDENCIES};
constinit nuvra::ModuleRecord g_module{ZOO_ID, 0, kDependencies};

nuvra::Result<void> Initialize() {
#if defined(ZOO_FAILS)
    return nuvra::NewError<nuvra::WrongValueTypeErrorObject>("the weather is bad");
#else
    zoo::Log("+" ZOO_ID);
    return {};
#endif
}

void Finalize() {
    zoo::Log("-" ZOO_ID);
}

constinit nuvra::InitializerRecord g_initializer{
    {{nuvra::RecordKind::INITIALIZER, ZOO_ID, nullptr, 0}, nullptr}, Initialize, Finalize};

}  // namespace

NUVRA_EXPORT_MODULES;

namespace {
const nuvra::ModuleRegistration g_registration(g_privateModules, g_module, {});
const nuvra::SourceUnit g_unit(g_module, "plain", {&g_initializer});
}  // namespace
