#include "entries.h"

// Refers to every function of the table: linking fails when the runtime lacks one.
[[gnu::used]] static void (*const kEntries[])() = {
#define OPENCL_ENTRY(presence, name, before, after) reinterpret_cast<void (*)()>(&name),
#include "nuvra/opencl_entries.def"
#undef OPENCL_ENTRY
};
