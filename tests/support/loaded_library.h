#pragma once

#include <string>

namespace nuvra::test {

/// Whether the library in that file is in memory.
bool IsLoaded(const std::string& file);

}  // namespace nuvra::test
