#include <sys/syscall.h>
#include <unistd.h>

#include "nuvra/unix/thread_id.h"

namespace nuvra {

UInt64 AskThreadId() {
    return static_cast<UInt64>(syscall(SYS_gettid));
}

}  // namespace nuvra
