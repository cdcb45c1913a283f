#pragma once

#include "nuvra/module.h"

namespace nuvra::host {

/// The host as a module, "net.nuvra.core.framework": its services, error classes and data types. Call it
/// once.
ModuleRecord& MakeCoreModule();

/// The host's tracing service as a module, "net.nuvra.trace.framework". Call it once.
ModuleRecord& MakeTraceModule();

}  // namespace nuvra::host
