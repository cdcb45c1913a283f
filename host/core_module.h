#pragma once

#include "nuvra/module.h"

namespace nuvra::host {

/// The host as a module, "net.nuvra.core.framework": its services, error classes and data types. To be called
/// once.
ModuleRecord& MakeCoreModule();

}  // namespace nuvra::host
