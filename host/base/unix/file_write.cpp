#include "nuvra/host/file_write.h"

#include <cerrno>
#include <csignal>

namespace nuvra::host {

bool WriteAll(std::FILE* stream, std::string_view text) {
    sigset_t pipe;
    sigset_t earlier;
    sigset_t pending;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    sigpending(&pending);
    pthread_sigmask(SIG_BLOCK, &pipe, &earlier);
    errno = 0;
    const bool isWritten =
        std::fwrite(text.data(), 1, text.size(), stream) == text.size() && std::fflush(stream) == 0;
    const int error = errno;
    const bool wasPending = sigismember(&pending, SIGPIPE) == 1;
    sigpending(&pending);
    // Consume the SIGPIPE that this write raised. One that was already pending is not ours.
    if (int signal = 0; error == EPIPE && !wasPending && sigismember(&pending, SIGPIPE) == 1)
        sigwait(&pipe, &signal);
    pthread_sigmask(SIG_SETMASK, &earlier, nullptr);
    errno = error;
    return isWritten;
}

}  // namespace nuvra::host
