#include <pthread.h>

#include "nuvra/opencl_interface_platform.h"
#include "nuvra/unix/thread_id.h"

namespace nuvra {

namespace {

// The system call takes longer than all else that a traced call does here.
constinit thread_local UInt64 g_threadId = 0;

void ForgetInChildren() {
    // In a forked child the thread has another id. The C library drops the handler when this library is
    // unloaded.
    static const int handler = pthread_atfork(nullptr, nullptr, [] { g_threadId = 0; });
    static_cast<void>(handler);
}

}  // namespace

UInt64 GetThreadId() {
    if (g_threadId == 0) [[unlikely]] {
        ForgetInChildren();
        g_threadId = AskThreadId();
    }
    return g_threadId;
}

}  // namespace nuvra
