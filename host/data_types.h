#pragma once

#include "nuvra/data.h"

namespace nuvra::host {

/// The host's data types, `kDataTypeCount` of them, to be registered by its module.
inline constexpr Int kDataTypeCount = 7;
extern DataTypeRecord g_dataTypes[kDataTypeCount];

}  // namespace nuvra::host
