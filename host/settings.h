#pragma once

#include "nuvra/host/host.h"

namespace nuvra::host {

/// The options of the running host, for the services; defaults when none runs.
const Options& GetSettings();

/// Installs the options; null for the defaults. They must outlive their use by any thread.
void SetSettings(const Options* options);

/// Whether the running host lets something of `size` bytes be allocated.
bool MayAllocate(Int size);

}  // namespace nuvra::host
