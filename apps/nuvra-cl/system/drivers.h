#pragma once

#include <string>
#include <vector>

namespace nuvra::app {

/// Why each OpenCL driver that is registered with the system gives no platform, as `"FILE": REASON`; empty
/// when none is registered. To be asked when there are no platforms: what opens a driver may die of it, which
/// is why a process of its own does that where the system has such.
std::vector<std::string> DescribeDrivers();

}  // namespace nuvra::app
