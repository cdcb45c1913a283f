#pragma once

#include <span>

#include "nuvra/data.h"

namespace nuvra::host {

/// The host's data types, to be registered by its module.
std::span<DataTypeRecord> GetDataTypes();

}  // namespace nuvra::host
