#include <windows.h>

#include "nuvra/opencl_interface_platform.h"

namespace nuvra {

const char* const kOpenCLLibraryName = "opencl.dll";

UInt64 GetThreadId() {
    return GetCurrentThreadId();
}

}  // namespace nuvra
