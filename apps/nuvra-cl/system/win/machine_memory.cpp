#include "pictures/memory_limit.h"

#include <windows.h>

namespace nuvra::app {

Int64 GetMachineMemory() {
    MEMORYSTATUSEX status = {};
    status.dwLength = sizeof(status);
    GlobalMemoryStatusEx(&status);
    return static_cast<Int64>(status.ullTotalPhys);
}

}  // namespace nuvra::app
