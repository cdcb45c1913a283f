#include <sys/syscall.h>
#include <unistd.h>

#include "nuvra/opencl_interface_platform.h"

namespace nuvra {

const char* const kOpenCLLibraryName = "libOpenCL.so.1";

UInt64 GetThreadId() {
    return static_cast<UInt64>(syscall(SYS_gettid));
}

}  // namespace nuvra
