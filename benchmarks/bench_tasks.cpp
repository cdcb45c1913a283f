// The tasks on the system's runtime: each beside its own kernels launched by bare calls, and beside other
// libraries.

#include <cstdio>

#include "tasks.h"

int main(int argc, char** argv) {
    using namespace nuvra::bench;
    if (!Initialize(argc, argv)) return 2;
    try {
        const Framework framework({});
        Tasks tasks;
        const Effort large{.turns = 61, .iterationsATurn = 1};
        const Effort pictures{.turns = 15, .iterationsATurn = 1};
        bool done = RunTable("Filling 256 MiB", tasks.GetClearRows(), large);
        done = RunTable("Exclusive prefix sums of 2^24 values", tasks.GetPrefixSumRows(), large) && done;
        done = RunTable("A checksum of 64 MiB", tasks.GetCrcRows(), pictures) && done;
        done = RunTable("Pictures of 2000 x 1500, RGBA of 8 bits", tasks.GetPictureRows(), pictures) && done;
        return done ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
