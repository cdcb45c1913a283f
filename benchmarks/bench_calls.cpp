// What a call costs through the module and through two common C++ wrappers, beside the bare call. Linked with
// the runtime that it measures: one whose functions return at once, which leaves the wrappers' own cost, or
// the system's.

#include <cstdio>

#include "calls.h"

int main(int argc, char** argv) {
    using namespace nuvra::bench;
    if (!Initialize(argc, argv)) return 2;
    const std::string runtime = NUVRA_LINKED_RUNTIME;  // empty for the system's
    const char* title =
        runtime.empty() ? "Calls on the system's runtime" : "Calls on a runtime that returns at once";
    try {
        const Framework framework(runtime);
        Calls calls;
        return RunTable(title, calls.GetRows(!runtime.empty()), {}) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
