#pragma once

#include <cstdio>
#include <string_view>

namespace nuvra::host {

/// Writes and flushes all of the text. On failure the result is false and `errno` is set: a closed pipe gives
/// EPIPE and raises no SIGPIPE.
bool WriteAll(std::FILE* stream, std::string_view text);

}  // namespace nuvra::host
