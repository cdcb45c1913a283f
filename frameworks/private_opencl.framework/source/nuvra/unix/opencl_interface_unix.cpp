#include <sys/syscall.h>
#include <unistd.h>

#include "nuvra/opencl_interface_platform.h"

namespace nuvra {

const char* const kOpenCLLibraryName = "libOpenCL.so.1";

UInt64 GetThreadId() {
    // Asking the system takes longer than all else that a traced call does here.
    static thread_local UInt64 id = 0;
    if (id == 0) id = static_cast<UInt64>(syscall(SYS_gettid));
    return id;
}

}  // namespace nuvra
