// The tasks on the system's runtime: each beside its own kernels launched by bare calls, and beside other
// libraries.

#include <cstdio>
#include <cstdlib>

#include "tasks.h"

namespace nuvra::bench {
namespace {

constexpr Effort kLarge{.turns = 61, .iterationsATurn = 1};
constexpr Effort kPictures{.turns = 15, .iterationsATurn = 1};

bool Run() {
    const Framework framework({});
    Tasks tasks;
    bool done = RunTable("Filling 256 MiB", tasks.GetClearRows(), kLarge);
    done = RunTable("Exclusive prefix sums of 2^24 values", tasks.GetPrefixSumRows(), kLarge) && done;
    done = RunTable("Checksums", tasks.GetCrcRows(), kLarge) && done;
    return RunTable("Pictures of 2000 x 1500, RGBA of 8 bits", tasks.GetPictureRows(), kPictures) && done;
}

/// With the kernels of a GPU, on a runtime that calls its devices so.
bool RunAsGpu() {
    setenv("NUVRA_TEST_DEVICE", "gpu", 1);
    const Framework framework(NUVRA_GPU_FILE);
    Tasks tasks;
    return RunTable("With barriers, 2^24 values", tasks.GetPrefixSumRows(), kPictures);
}

}  // namespace
}  // namespace nuvra::bench

int main(int argc, char** argv) {
    using namespace nuvra::bench;
    if (!Initialize(argc, argv)) return 2;
    try {
        const bool done = Run();
        return RunAsGpu() && done ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
