#pragma once

#include "nuvra/types.h"

/// What differs between operating systems.
namespace nuvra {

/// The operating system's id of the calling thread.
UInt64 GetThreadId();

}  // namespace nuvra
