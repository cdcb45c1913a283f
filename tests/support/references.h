#pragma once

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

#include "nuvra/types.h"

/// What the tasks' results are compared with, from their definitions.
namespace nuvra::test {

/// CRC-32C: each bit of each byte through the reflected polynomial; all bits inverted around it.
inline UInt32 Crc32c(const std::vector<UChar>& bytes) {
    UInt32 crc = 0xFFFFFFFF;
    for (const UChar byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < 8; bit++) crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0x82F63B78U : 0);
    }
    return ~crc;
}

/// A picture of floats, RGBA.
struct Picture {
    Int64 width;
    Int64 height;
    std::vector<float> values;

    Picture(Int64 pictureWidth, Int64 pictureHeight)
        : width(pictureWidth), height(pictureHeight), values(static_cast<size_t>(width * height * 4)) {}
    /// The nearest edge pixel outside.
    float At(Int64 x, Int64 y, Int64 channel) const {
        x = std::clamp<Int64>(x, 0, width - 1);
        y = std::clamp<Int64>(y, 0, height - 1);
        return values[static_cast<size_t>((y * width + x) * 4 + channel)];
    }
};

inline Picture RandomPicture(Int64 width, Int64 height, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> numbers(-1, 2);
    Picture picture(width, height);
    for (float& value : picture.values) value = numbers(random);
    return picture;
}

/// One axis of a call after mirroring: the scaled position of destination pixel i, counted from `origin`.
struct Axis {
    Int64 origin;
    Int64 sourceExtent;  // negative when mirrored
    Int64 destination;
    Int64 extent;
    float scale;

    Axis(Int64 source, Int64 sourceLength, Int64 target, Int64 length) {
        const bool mirrored = length < 0;
        origin = mirrored ? source + sourceLength - 1 : source;
        sourceExtent = mirrored ? -sourceLength : sourceLength;
        destination = mirrored ? target + length + 1 : target;
        extent = std::abs(length);
        scale = static_cast<float>(sourceExtent) / static_cast<float>(extent);
    }
};

inline double Weight(double x) {
    x = std::fabs(x);
    if (x <= 1) return 1 - 0.2 * x - 1.8 * x * x + x * x * x;
    const double t = x - 1;
    return x <= 2 ? -7.0 / 15 * t + 0.8 * t * t - t * t * t / 3 : 0;
}

struct Tap {
    Int64 position;
    double weight;
};

/// The taps of destination pixel i: two destination pixels to each side, or the four source pixels around it
/// when the picture grows, cut to the rectangle. Positions are rounded to float as on the device.
inline std::vector<Tap> TapsOf(const Axis& axis, Int64 i) {
    const float f = static_cast<float>(i) * axis.scale;
    const float reach = 2 * std::fabs(axis.scale);
    const bool grows = std::fabs(axis.scale) < 1;
    const Int64 low = std::min<Int64>(0, axis.sourceExtent + 1);
    const Int64 high = std::max<Int64>(0, axis.sourceExtent - 1);
    const auto first = static_cast<Int64>(grows ? std::floor(f) - 1 : std::ceil(f - reach));
    const auto last = static_cast<Int64>(grows ? std::floor(f) + 2 : std::floor(f + reach));
    std::vector<Tap> taps;
    for (Int64 j = std::clamp(first, low, high); j <= std::clamp(last, low, high); j++) {
        const double distance = static_cast<double>(j) - f;
        taps.push_back({axis.origin + j, Weight(grows ? distance : distance / std::fabs(axis.scale))});
    }
    return taps;
}

/// The source position of destination pixel i by the nearest filter.
inline Int64 NearestTo(const Axis& axis, Int64 i) {
    return static_cast<Int64>(static_cast<float>(i) * axis.scale + 0.5f) + axis.origin;
}

struct Sample {
    double value;
    double bound;  ///< how far single precision may be off: 1e-5 of the weighted magnitudes
};

/// Pixel (i, j) of the destination rectangle by the bicubic filter, applied in two dimensions.
inline Sample BicubicAt(const Picture& source, const Axis& x, Int64 i, const Axis& y, Int64 j,
                        Int64 channel) {
    double sum = 0;
    double weights = 0;
    double magnitude = 0;
    for (const Tap& v : TapsOf(y, j)) {
        for (const Tap& h : TapsOf(x, i)) {
            const double weighted = v.weight * h.weight * source.At(h.position, v.position, channel);
            sum += weighted;
            magnitude += std::fabs(weighted);
            weights += v.weight * h.weight;
        }
    }
    return {sum / weights, 1e-5 * magnitude / std::fabs(weights) + 1e-9};
}

}  // namespace nuvra::test
