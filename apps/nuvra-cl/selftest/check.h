#pragma once

#include "device/session.h"

/// Each task against its definition, in plain C++, on one device.
namespace nuvra::app {

struct SelfCheckOutcome {
    double error = 0;  ///< the largest
    double bound = 0;  ///< what rounding explains
    double speed = 0;
    const char* unit = "";
};

struct SelfCheck {
    const char* task;
    SelfCheckOutcome (*run)(const Device& device);
};

SelfCheckOutcome CheckClearMemory(const Device& device);
SelfCheckOutcome CheckCrc32c(const Device& device);
SelfCheckOutcome CheckPrefixSum(const Device& device);
SelfCheckOutcome CheckInvert(const Device& device);
SelfCheckOutcome CheckGamma(const Device& device);
SelfCheckOutcome CheckScaleNearest(const Device& device);
SelfCheckOutcome CheckScaleBicubic(const Device& device);
SelfCheckOutcome CheckStereo(const Device& device);

inline constexpr SelfCheck kSelfChecks[] = {
    {"clearmem", CheckClearMemory},
    {"crc32c", CheckCrc32c},
    {"prefixsum", CheckPrefixSum},
    {"image.invert", CheckInvert},
    {"image.gamma", CheckGamma},
    {"image.scalenearest", CheckScaleNearest},
    {"image.scalebicubic", CheckScaleBicubic},
    {"image.stereo.sbs", CheckStereo},
};

/// How many `units` a second the task does: it is run once to have its kernels compiled, then once timed.
double MeasureSpeed(const Device& device, const char* task, const void* parameters, double units);

}  // namespace nuvra::app
