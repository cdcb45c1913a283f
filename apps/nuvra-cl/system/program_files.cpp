#include "system/program_files.h"

#include "system/system.h"

namespace nuvra::app {

namespace fs = std::filesystem;

fs::path FindProgramFile(const fs::path& built) {
    const fs::path folder = GetProgramPath().parent_path();
    const fs::path file = built.filename();
    std::error_code error;
    for (const fs::path& candidate : {folder / file, folder / ".." / "lib" / file})
        if (fs::exists(candidate, error)) return candidate;
    return folder / built;
}

}  // namespace nuvra::app
