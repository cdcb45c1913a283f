#pragma once

#include <optional>
#include <string>

#include "pictures/memory_limit.h"

namespace nuvra::app {

/// What a picture file says of itself, for the formats whose readers take memory for all of it when they open
/// it; nothing for other files. Throws a `Failure` for a file whose reader would never end, or would take
/// memory for more user data than the file has bytes.
std::optional<PictureClaim> ReadClaim(const std::string& name);

}  // namespace nuvra::app
