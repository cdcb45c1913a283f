#include <cstdlib>

/// An OpenCL driver that ends what opens it.
[[gnu::constructor]] static void Crash() {
    std::abort();
}
