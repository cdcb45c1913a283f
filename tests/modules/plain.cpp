// A module that only starts and ends. ZOO_ID and ZOO_DEPENDENCIES are its record; with ZOO_FAILS it does not
// start. With ZOO_USES it uses what one with ZOO_SERVES implements.
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
#if defined(ZOO_USES)
    nuvra::Table<zoo::Served>()->Serve();
#endif
    return {};
#endif
}

void Finalize() {
    zoo::Log("-" ZOO_ID);
}

constinit nuvra::InitializerRecord g_initializer{
    {{nuvra::RecordKind::INITIALIZER, ZOO_ID, nullptr, 0}, nullptr}, Initialize, Finalize};

#if defined(ZOO_SERVES)
constexpr zoo::Served::Operations kOperations{[] { zoo::Log("served"); }};
constinit nuvra::InterfaceRecord g_served =
    nuvra::ImplementInterface<zoo::Served>("zoo.Server", "Server", kOperations);
#endif

}  // namespace

NUVRA_EXPORT_MODULES;

namespace {
const nuvra::ModuleRegistration g_registration(g_privateModules, g_module, {});
const nuvra::SourceUnit g_unit(g_module, "plain", {&g_initializer});
#if defined(ZOO_SERVES)
const nuvra::SourceUnit g_servedUnit(g_module, "served", {&g_served});
#endif
}  // namespace
