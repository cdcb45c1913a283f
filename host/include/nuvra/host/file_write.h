#pragma once

#include <cstdio>
#include <string_view>

namespace nuvra::host {

/// Whether all of the text could be written; `errno` says why not. A pipe that nobody reads any more is such
/// a reason, and no signal that ends the program.
bool WriteAll(std::FILE* stream, std::string_view text);

}  // namespace nuvra::host
