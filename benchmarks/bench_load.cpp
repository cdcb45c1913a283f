// The cost of starting and ending a host with the module, which binds a runtime, beside opening and closing
// that runtime alone. This program is linked with no runtime, so that each turn really opens one.

#include <cstdio>

#include "framework.h"
#include "nuvra/host/dynamic_library.h"
#include "table.h"

namespace nuvra::bench {
namespace {

void OpenRuntime(benchmark::State& state, const std::string& runtime) {
    for (auto _ : state) {
        std::string reason;
        const auto library = host::DynamicLibrary::Open(runtime, host::LibraryUse::RUNTIME, reason);
        if (!library.IsOpen()) state.SkipWithError(reason.c_str());
    }
}

void LoadModule(benchmark::State& state, const std::string& runtime) {
    for (auto _ : state) {
        host::Host host(UseRuntime(runtime));
        Check(host.LoadModules(NUVRA_MODULE_FILE));
        Check(host.Start());
    }
}

Row MakeRow(const char* name, const std::string& runtime) {
    const auto open = [runtime](benchmark::State& state) { OpenRuntime(state, runtime); };
    const auto load = [runtime](benchmark::State& state) { LoadModule(state, runtime); };
    return {name, 2e6, {{"runtime alone", open}, {"module", load}, {"runtime again", open}}};
}

}  // namespace
}  // namespace nuvra::bench

int main(int argc, char** argv) {
    using namespace nuvra::bench;
    if (!Initialize(argc, argv)) return 2;
    try {
        const std::vector<Row> rows{MakeRow("the system's runtime", NUVRA_RUNTIME_NAME),
                                    MakeRow("a runtime that returns at once", NUVRA_RUNTIME_FILE)};
        return RunTable("Loading, starting and ending", rows, {}) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
