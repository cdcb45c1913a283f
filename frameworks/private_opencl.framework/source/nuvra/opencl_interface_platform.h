#pragma once

#include "nuvra/types.h"

/// What differs between operating systems.
namespace nuvra {

/// The file name under which the system's library search finds the OpenCL runtime.
extern const char* const kOpenCLLibraryName;

/// The operating system's id of the calling thread.
UInt64 GetThreadId();

}  // namespace nuvra
