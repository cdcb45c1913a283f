#pragma once

#include <string>
#include <vector>

namespace nuvra::app {

/// Why each OpenCL driver that is registered with the system gives no platform, as `"FILE": REASON`; empty
/// when none is registered. For the case that there are no platforms: a broken driver may crash whoever
/// opens it, so a child process does, where the system can fork.
std::vector<std::string> DescribeDrivers();

}  // namespace nuvra::app
