#include "zoo_fixture.h"

#include <utility>

namespace nuvra::test {

namespace {

Texts g_log;

constexpr zoo::OrderLog::Operations kLogTable{[](const char* event) { g_log.emplace_back(event); }};
constinit InterfaceRecord g_logImplementation =
    ImplementInterface<zoo::OrderLog>("test.OrderLog", "OrderLog", kLogTable);
const SourceUnit g_unit(g_program, "zoo_fixture", {&g_logImplementation});

}  // namespace

Texts ZooFiles(const Texts& names) {
    Texts files;
    for (const std::string& name : names) files.push_back(ZooFile(name));
    return files;
}

Texts TakeLog() {
    return std::exchange(g_log, {});
}

}  // namespace nuvra::test
