#pragma once

#include <string_view>

#include "nuvra/types.h"

namespace nuvra::host {

/// The name of an error code of the OpenCL headers, their extensions or the module; empty for any other
/// number.
std::string_view FindErrorName(Int32 code);

}  // namespace nuvra::host
