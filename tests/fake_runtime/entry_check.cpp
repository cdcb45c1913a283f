#include "entries.h"

// Refers to every function of the table: linking fails when the runtime lacks one.
[[gnu::used]] static void (*const kEntries[])() = {
#define OPENCL_FUNCTION(presence, name, effect, before, after) reinterpret_cast<void (*)()>(&name),
#include "nuvra/opencl_functions.def"
};
