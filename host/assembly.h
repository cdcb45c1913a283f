#pragma once

#include <memory>
#include <vector>

#include "module_image.h"

namespace nuvra::host {

/// Images that are started and taken down together, and their modules in the order of starting once that is
/// known.
struct Assembly {
    std::vector<std::unique_ptr<Image>> images;
    std::vector<Module*> order;
};

}  // namespace nuvra::host
