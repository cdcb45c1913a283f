#pragma once

#include <span>
#include <vector>

#include "module_image.h"

namespace nuvra::host {

/// The modules of the images, each behind all that it depends on and, where dependencies allow it, behind
/// those that implement what it uses; otherwise in the order given. Fails when two modules share an id, when
/// a dependency is missing, and when modules depend on each other in a cycle.
Result<std::vector<Module*>> OrderByDependencies(std::span<Image* const> images);

}  // namespace nuvra::host
