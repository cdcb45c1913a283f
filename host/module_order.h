#pragma once

#include <span>
#include <vector>

#include "module_image.h"

namespace nuvra::host {

/// The modules of the images in topological order: each after its dependencies and, where these allow it,
/// after the modules that implement the interfaces it uses; otherwise in the order given. Fails when two
/// modules share an id, when a dependency is missing, and when modules depend on each other in a cycle.
Result<std::vector<Module*>> OrderByDependencies(std::span<Image* const> images);

}  // namespace nuvra::host
