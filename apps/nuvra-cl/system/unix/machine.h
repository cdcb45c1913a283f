#pragma once

namespace nuvra::app {

/// Where the ICD loader finds its drivers.
extern const char* const kDriverFolder;

}  // namespace nuvra::app
