// Clearing memory on the system's runtime: the task beside the same kernels, the runtime's fill and the C
// library.

#include <cstdio>

#include "clear.h"

int main(int argc, char** argv) {
    using namespace nuvra::bench;
    if (!Initialize(argc, argv)) return 2;
    try {
        const Framework framework({});
        Clear clear;
        const Effort oneAtATime{.turns = 21, .iterationsATurn = 1};
        return RunTable("Filling 256 MiB on the system's runtime", clear.GetRows(), oneAtATime) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
