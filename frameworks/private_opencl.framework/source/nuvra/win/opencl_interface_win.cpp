#include <windows.h>

#include "nuvra/opencl_interface_platform.h"

namespace nuvra {

UInt64 GetThreadId() {
    return GetCurrentThreadId();
}

}  // namespace nuvra
