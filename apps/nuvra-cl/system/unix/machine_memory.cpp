#include "pictures/memory_limit.h"

#include <unistd.h>

namespace nuvra::app {

Int64 GetMachineMemory() {
    return Int64{sysconf(_SC_PHYS_PAGES)} * sysconf(_SC_PAGESIZE);
}

}  // namespace nuvra::app
