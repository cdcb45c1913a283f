#include "nuvra/host/file_write.h"

#include <cerrno>

namespace nuvra::host {

bool WriteAll(std::FILE* stream, std::string_view text) {
    errno = 0;
    return std::fwrite(text.data(), 1, text.size(), stream) == text.size() && std::fflush(stream) == 0;
}

}  // namespace nuvra::host
