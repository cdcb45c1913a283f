#include "nuvra/host/file_name.h"

#include <fcntl.h>
#include <unistd.h>

namespace nuvra::host {

std::FILE* OpenFile(const std::filesystem::path& path, const char* mode) {
    return std::fopen(path.c_str(), mode);
}

std::FILE* CopyStream(std::FILE* stream) {
    const int copy = fcntl(fileno(stream), F_DUPFD_CLOEXEC, 3);
    std::FILE* opened = copy < 0 ? nullptr : fdopen(copy, "w");
    if (opened == nullptr && copy >= 0) close(copy);
    return opened;
}

}  // namespace nuvra::host
