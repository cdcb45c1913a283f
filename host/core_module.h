#pragma once

#include "nuvra/module.h"

namespace nuvra::host {

/// The host as a module, "net.nuvra.core.framework": its services, error classes and data types. To be called
/// once.
ModuleRecord& MakeCoreModule();

/// The host's tracing service as a module, "net.nuvra.trace.framework". To be called once.
ModuleRecord& MakeTraceModule();

}  // namespace nuvra::host
