#include "nuvra/host/file_name.h"

namespace nuvra::host {

std::FILE* OpenFile(const std::filesystem::path& path, const char* mode) {
    return std::fopen(path.c_str(), mode);
}

}  // namespace nuvra::host
