#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "nuvra/opencl_interface_platform.h"

namespace nuvra {

const char* const kOpenCLLibraryName = "libOpenCL.so.1";

namespace {

// The system call takes longer than all else that a traced call does here.
constinit thread_local UInt64 g_threadId = 0;

UInt64 AskThreadId() {
    // In a forked child the thread has another id. The C library drops the handler when this library is
    // unloaded.
    static const int handler = pthread_atfork(nullptr, nullptr, [] { g_threadId = 0; });
    static_cast<void>(handler);
    return static_cast<UInt64>(syscall(SYS_gettid));
}

}  // namespace

UInt64 GetThreadId() {
    if (g_threadId == 0) [[unlikely]]
        g_threadId = AskThreadId();
    return g_threadId;
}

}  // namespace nuvra
