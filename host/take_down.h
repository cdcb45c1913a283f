#pragma once

#include "assembly.h"

namespace nuvra::host {

/// Runs the finalizers of the initialised modules in reverse order and sets `isKept` of the images that stay:
/// those with live objects once the modules that depend on them are finalized, and their dependencies.
/// Each image that stays is named in a diagnostic unless `isQuiet`.
void Finalize(Assembly& assembly, bool isQuiet);

}  // namespace nuvra::host
