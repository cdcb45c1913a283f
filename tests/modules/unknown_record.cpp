// A module from a later day: it has a record of a kind that the host has never heard of.
#include "nuvra/module.h"

namespace {
constinit nuvra::ModuleRecord g_module{"zoo.unknown_record", 0};
constinit nuvra::EntityRecord g_record{{nuvra::RecordKind{99}, "zoo.from_the_future", nullptr, 0}, nullptr};
}  // namespace

NUVRA_EXPORT_MODULES;

namespace {
const nuvra::ModuleRegistration g_registration(g_privateModules, g_module, {});
const nuvra::SourceUnit g_unit(g_module, "unknown_record", {&g_record});
}  // namespace
