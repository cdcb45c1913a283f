#pragma once

#include "nuvra/error.h"

namespace nuvra::host {

/// Creates the error that is returned where memory for an error is lacking. Call it once, before anything can
/// fail. `errorClass` is the out-of-memory class.
void PrepareFallbackError(const Class* errorClass);

}  // namespace nuvra::host
