#pragma once

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

#include "nuvra/types.h"

/// The tasks' results by their definitions, for the selftest, the tests and the benchmarks.
namespace nuvra::reference {

/// The CRC-32C register after the eight bits of a byte that was added to it, by the reflected polynomial.
constexpr UInt32 ShiftCrc(UInt32 crc) {
    for (int bit = 0; bit < 8; bit++) crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0x82F63B78U : 0);
    return crc;
}

inline UInt32 Crc32c(const std::vector<UChar>& bytes) {
    UInt32 crc = 0xFFFFFFFF;
    for (const UChar byte : bytes) crc = ShiftCrc(crc ^ byte);
    return ~crc;
}

/// The exclusive sums of each run of `length` values.
inline std::vector<UInt32> SumsOf(const std::vector<UInt32>& values, size_t length) {
    std::vector<UInt32> sums(values.size());
    for (size_t i = 0; i < values.size(); i++) sums[i] = i % length == 0 ? 0 : sums[i - 1] + values[i - 1];
    return sums;
}

/// A picture of floats, RGBA.
struct Plane {
    Int64 width;
    Int64 height;
    std::vector<float> values;

    Plane(Int64 planeWidth, Int64 planeHeight, float value = 0)
        : width(planeWidth), height(planeHeight), values(static_cast<size_t>(width * height) * 4, value) {}
    /// The nearest edge pixel outside.
    double At(Int64 x, Int64 y, size_t channel) const {
        x = std::clamp<Int64>(x, 0, width - 1);
        y = std::clamp<Int64>(y, 0, height - 1);
        return values[static_cast<size_t>(y * width + x) * 4 + channel];
    }
};

inline Plane RandomPlane(Int64 width, Int64 height, unsigned seed, float low = -1) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> numbers(low, 2);
    Plane picture(width, height);
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
    bool Has(Int64 position) const { return position >= destination && position < destination + extent; }
};

inline double SplineWeight(double x) {
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
        taps.push_back({axis.origin + j, SplineWeight(grows ? distance : distance / std::fabs(axis.scale))});
    }
    return taps;
}

/// A value, and the sum of the magnitudes that make it.
struct Sample {
    double value;
    double magnitude;
};

/// Pixel (x, y) of the destination by the bicubic filter, applied in two dimensions.
inline Sample BicubicAt(const Plane& source, const Axis& xAxis, Int64 x, const Axis& yAxis, Int64 y,
                        size_t channel) {
    double sum = 0;
    double weights = 0;
    double magnitude = 0;
    const std::vector<Tap> columns = TapsOf(xAxis, x - xAxis.destination);
    for (const Tap& row : TapsOf(yAxis, y - yAxis.destination)) {
        for (const Tap& column : columns) {
            const double weight = row.weight * column.weight;
            const double value = weight * source.At(column.position, row.position, channel);
            sum += value;
            magnitude += std::fabs(value);
            weights += weight;
        }
    }
    return {sum / weights, magnitude / std::fabs(weights)};
}

/// The same by the nearest filter.
inline double NearestAt(const Plane& source, const Axis& xAxis, Int64 x, const Axis& yAxis, Int64 y,
                        size_t channel) {
    const auto nearest = [](const Axis& axis, Int64 position) {
        const float f = static_cast<float>(position - axis.destination) * axis.scale;
        return static_cast<Int64>(std::trunc(f + 0.5F)) + axis.origin;
    };
    return source.At(nearest(xAxis, x), nearest(yAxis, y), channel);
}

/// Pixel (x, y) of a stereo image of `width` pixels: the means of pairs, the sums for alpha.
inline double StereoAt(const Plane& left, const Plane& right, Int64 width, Int64 x, Int64 y, size_t channel) {
    const bool isLeft = x < width / 2;
    const Int64 column = 2 * (isLeft ? x : x - width / 2);
    const Plane& picture = isLeft ? left : right;
    const double sum = picture.At(column, y, channel) + picture.At(column + 1, y, channel);
    return channel == 3 ? sum : sum / 2;
}

}  // namespace nuvra::reference
