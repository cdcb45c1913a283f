#pragma once

#include <functional>

#include "nuvra/registry.h"

namespace nuvra::host {

/// Removes the entries, of all registries, whose value `isGone`.
void RemoveRegistryEntries(const std::function<bool(const void* value)>& isGone);

}  // namespace nuvra::host
