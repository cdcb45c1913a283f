#pragma once

#include <cmath>
#include <cstdint>

namespace nuvra::test {

/// IEEE 754 half precision of a number, rounded to nearest even. Numbers must not overflow it.
inline std::uint16_t ToHalf(double value) {
    const std::uint16_t sign = std::signbit(value) ? 0x8000 : 0;
    const double magnitude = std::fabs(value);
    if (magnitude == 0) return sign;
    const int exponent = std::max(std::ilogb(magnitude), -14);
    // In units of the last place; the carry of a rounding goes into the exponent by itself.
    const auto units = static_cast<int>(std::nearbyint(std::ldexp(magnitude, 10 - exponent)));
    return static_cast<std::uint16_t>(sign + ((exponent + 14) << 10) + units);
}

}  // namespace nuvra::test
