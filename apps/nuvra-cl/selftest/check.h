#pragma once

#include "session.h"

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
    SelfCheckOutcome (*run)(const Gpu& gpu);
};

SelfCheckOutcome CheckClearMemory(const Gpu& gpu);
SelfCheckOutcome CheckCrc32c(const Gpu& gpu);
SelfCheckOutcome CheckPrefixSum(const Gpu& gpu);
SelfCheckOutcome CheckInvert(const Gpu& gpu);
SelfCheckOutcome CheckGamma(const Gpu& gpu);
SelfCheckOutcome CheckScaleNearest(const Gpu& gpu);
SelfCheckOutcome CheckScaleBicubic(const Gpu& gpu);
SelfCheckOutcome CheckStereo(const Gpu& gpu);

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
double MeasureSpeed(const Gpu& gpu, const char* task, const void* parameters, double units);

}  // namespace nuvra::app
