#pragma once

#include "framework.h"

namespace nuvra::host {

/// Runs the finalizers of the modules that were initialised, in reverse order, and decides which images stay:
/// those with objects alive after the modules that depend on them have ended, and all that they depend on.
/// With `isQuiet` no diagnostics name them.
void Finalize(Assembly& assembly, bool isQuiet);

}  // namespace nuvra::host
