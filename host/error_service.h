#pragma once

#include "nuvra/error.h"

namespace nuvra::host {

/// Makes the error that stands in where no error can be made; before anything can fail, once. `errorClass`
/// is the out-of-memory class.
void PrepareFallbackError(const Class* errorClass);

}  // namespace nuvra::host
