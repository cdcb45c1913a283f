// A module that cannot do without an interface that nobody implements.
#include "nuvra/interface.h"

namespace {

struct Absent {
    static constexpr nuvra::Id kId{"zoo.Absent#1"};
    static constexpr const char* kHeader = "zoo/absent.h";
    static constexpr bool kOptional = false;
    struct Operations {
        void (*Do)();
    };
};

constinit nuvra::ModuleRecord g_module{"zoo.unresolved", 0};
constinit nuvra::InitializerRecord g_initializer{
    {{nuvra::RecordKind::INITIALIZER, "zoo.unresolved", nullptr, 0}, nullptr}, nullptr, [] {
        nuvra::Table<Absent>()->Do();
    }};

}  // namespace

NUVRA_EXPORT_MODULES;

namespace {
const nuvra::ModuleRegistration g_registration(g_privateModules, g_module, {});
const nuvra::SourceUnit g_unit(g_module, "unresolved", {&g_initializer});
}  // namespace
