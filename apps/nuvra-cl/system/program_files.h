#pragma once

#include <filesystem>

namespace nuvra::app {

/// A library that came with the program. It lies beside it or in the neighbouring folder "lib" once
/// installed, and where it was built before: at `built`, seen from the program's folder.
std::filesystem::path FindProgramFile(const std::filesystem::path& built);

}  // namespace nuvra::app
