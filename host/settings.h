#pragma once

#include "nuvra/host/host.h"

namespace nuvra::host {

/// The options of the running host, for the services; defaults when none runs.
const Options& GetSettings();

/// Installs the options; null for the defaults. They must stay valid until replaced, on every thread.
void SetSettings(const Options* options);

/// Whether the running host's options allow an allocation of `size` bytes.
bool MayAllocate(Int size);

}  // namespace nuvra::host
