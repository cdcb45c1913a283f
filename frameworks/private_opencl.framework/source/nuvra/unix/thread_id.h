#pragma once

#include "nuvra/types.h"

namespace nuvra {

/// The system's id of the calling thread; each call asks the system.
UInt64 AskThreadId();

}  // namespace nuvra
