#include "system/unix/machine.h"

#include <unistd.h>

#include "system/system.h"

namespace nuvra::app {

const char* const kDriverFolder = "/etc/OpenCL/vendors";

const char* GetRuntimeAdvice() {
    return "Debian's packages ocl-icd-libopencl1 and pocl-opencl-icd give one that runs on any processor";
}

std::filesystem::path GetProgramPath() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error);
}

Int64 GetMachineMemory() {
    return Int64{sysconf(_SC_PHYS_PAGES)} * sysconf(_SC_PAGESIZE);
}

}  // namespace nuvra::app
