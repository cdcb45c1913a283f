#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "device/pixel_transfer.h"
#include "selftest/check.h"

namespace nuvra::app {

namespace {

constexpr Int64 kWidth = 301;
constexpr Int64 kHeight = 223;
constexpr double kFloatBound = 1e-5;

/// RGBA floats, row by row; positions outside give the nearest edge pixel.
struct Plane {
    Int64 width;
    Int64 height;
    std::vector<float> values;

    Plane(Int64 planeWidth, Int64 planeHeight)
        : width(planeWidth), height(planeHeight), values(static_cast<size_t>(width * height) * 4) {}
    double At(Int64 x, Int64 y, size_t channel) const {
        x = std::clamp<Int64>(x, 0, width - 1);
        y = std::clamp<Int64>(y, 0, height - 1);
        return values[static_cast<size_t>(y * width + x) * 4 + channel];
    }
};

Plane MakePlane(unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> numbers(0.05F, 2);
    Plane plane(kWidth, kHeight);
    for (float& value : plane.values) value = numbers(random);
    return plane;
}

/// What a pixel's channel must be, and the sum of the magnitudes that make it.
struct Expected {
    double value;
    double magnitude;
};
using Reference = std::function<Expected(Int64 x, Int64 y, size_t channel)>;

class ImageCheck {
public:
    explicit ImageCheck(const Device& device) : _device(device) {}

    OpenCLMemoryObjectRef Send(const Plane& plane) const {
        OpenCLMemoryObjectRef image = Make(plane.width, plane.height);
        const size_t origin[] = {0, 0, 0};
        const size_t region[] = {static_cast<size_t>(plane.width), static_cast<size_t>(plane.height), 1};
        _device.Check(_device.queue.EnqueueWriteImage(image, true, origin, region, 0, 0, plane.values.data()),
                      "send an image");
        return image;
    }

    OpenCLMemoryObjectRef Make(Int64 width, Int64 height) const {
        return MakeImage(_device, GetSampleType(Samples::FLOAT), OpenCLMemoryFlags::READ_WRITE,
                         {width, height});
    }

    /// Runs the task and compares each value of its destination with the reference.
    SelfCheckOutcome Run(const char* task, const void* parameters, const OpenCLMemoryObjectRef& destination,
                         Int64 width, Int64 height, double bound, const Reference& reference) const {
        const auto pixels = static_cast<double>(width * height);
        SelfCheckOutcome outcome{0, bound, MeasureSpeed(_device, task, parameters, pixels / 1e6),
                                 "million pixels/s"};
        Plane result(width, height);
        const size_t origin[] = {0, 0, 0};
        const size_t region[] = {static_cast<size_t>(width), static_cast<size_t>(height), 1};
        _device.Check(
            _device.queue.EnqueueReadImage(destination, true, origin, region, 0, 0, result.values.data()),
            "read an image");
        for (Int64 y = 0; y < height; y++) {
            for (Int64 x = 0; x < width; x++) {
                for (size_t channel = 0; channel < 4; channel++) {
                    const auto [value, magnitude] = reference(x, y, channel);
                    const double error = std::fabs(result.At(x, y, channel) - value) / magnitude;
                    // Written so that an error that is no number stays.
                    if (!(error <= outcome.error)) outcome.error = error;
                }
            }
        }
        return outcome;
    }

private:
    const Device& _device;
};

double SplineWeight(double x) {
    x = std::fabs(x);
    if (x <= 1) return 1 - 0.2 * x - 1.8 * x * x + x * x * x;
    const double t = x - 1;
    return x <= 2 ? -7.0 / 15 * t + 0.8 * t * t - t * t * t / 3 : 0;
}

struct Tap {
    Int64 position;
    double weight;
};

/// The taps of each pixel of an axis that shrinks from `source` to `destination` pixels, positions rounded to
/// float as on the device.
std::vector<std::vector<Tap>> MakeTaps(Int64 source, Int64 destination) {
    const float scale = static_cast<float>(source) / static_cast<float>(destination);
    std::vector<std::vector<Tap>> taps(static_cast<size_t>(destination));
    for (Int64 i = 0; i < destination; i++) {
        const float f = static_cast<float>(i) * scale;
        const auto first = std::max<Int64>(0, static_cast<Int64>(std::ceil(f - 2 * scale)));
        const auto last = std::min<Int64>(source - 1, static_cast<Int64>(std::floor(f + 2 * scale)));
        for (Int64 j = first; j <= last; j++)
            taps[static_cast<size_t>(i)].push_back({j, SplineWeight((static_cast<double>(j) - f) / scale)});
    }
    return taps;
}

}  // namespace

SelfCheckOutcome CheckInvert(const Device& device) {
    const ImageCheck check(device);
    const Plane plane = MakePlane(1);
    const OpenCLMemoryObjectRef source = check.Send(plane);
    const OpenCLMemoryObjectRef destination = check.Make(kWidth, kHeight);
    const InvertImageParameters parameters{1, &source, &destination, 0, 0, kWidth, kHeight};
    return check.Run("image.invert", &parameters, destination, kWidth, kHeight, 1e-7,
                     [&](Int64 x, Int64 y, size_t channel) {
                         const double value = plane.At(x, y, channel);
                         return Expected{channel == 3 ? value : 1 - value, 1 + value};
                     });
}

SelfCheckOutcome CheckGamma(const Device& device) {
    const ImageCheck check(device);
    const Plane plane = MakePlane(2);
    const OpenCLMemoryObjectRef source = check.Send(plane);
    const OpenCLMemoryObjectRef destination = check.Make(kWidth, kHeight);
    const GammaImageParameters parameters{1, &source, &destination, 0, 0, kWidth, kHeight, 2.2};
    return check.Run("image.gamma", &parameters, destination, kWidth, kHeight, kFloatBound,
                     [&](Int64 x, Int64 y, size_t channel) {
                         const double value = plane.At(x, y, channel);
                         const double power = channel == 3 ? value : std::pow(value, 2.2F);
                         return Expected{power, power};
                     });
}

SelfCheckOutcome CheckScaleNearest(const Device& device) {
    constexpr Int64 kToWidth = 450;
    constexpr Int64 kToHeight = 100;
    const ImageCheck check(device);
    const Plane plane = MakePlane(3);
    const OpenCLMemoryObjectRef source = check.Send(plane);
    const OpenCLMemoryObjectRef destination = check.Make(kToWidth, kToHeight);
    const ScaleParameters parameters{1, &source, &destination, 0,        0, kWidth, kHeight,
                                     0, 0,       kToWidth,     kToHeight};
    const auto nearest = [](Int64 i, Int64 from, Int64 to) {
        const float scale = static_cast<float>(from) / static_cast<float>(to);
        return static_cast<Int64>(std::floor(static_cast<float>(i) * scale + 0.5F));
    };
    return check.Run("image.scalenearest", &parameters, destination, kToWidth, kToHeight, 0,
                     [&](Int64 x, Int64 y, size_t channel) {
                         return Expected{
                             plane.At(nearest(x, kWidth, kToWidth), nearest(y, kHeight, kToHeight), channel),
                             1};
                     });
}

SelfCheckOutcome CheckScaleBicubic(const Device& device) {
    constexpr Int64 kToWidth = 173;
    constexpr Int64 kToHeight = 120;
    const ImageCheck check(device);
    const Plane plane = MakePlane(4);
    const OpenCLMemoryObjectRef source = check.Send(plane);
    const OpenCLMemoryObjectRef destination = check.Make(kToWidth, kToHeight);
    const ScaleParameters parameters{1, &source, &destination, 0,        0, kWidth, kHeight,
                                     0, 0,       kToWidth,     kToHeight};
    const auto columns = MakeTaps(kWidth, kToWidth);
    const auto rows = MakeTaps(kHeight, kToHeight);
    return check.Run("image.scalebicubic", &parameters, destination, kToWidth, kToHeight, kFloatBound,
                     [&](Int64 x, Int64 y, size_t channel) {
                         double sum = 0;
                         double weights = 0;
                         double magnitude = 0;
                         for (const Tap& row : rows[static_cast<size_t>(y)]) {
                             for (const Tap& column : columns[static_cast<size_t>(x)]) {
                                 const double weight = row.weight * column.weight;
                                 const double value =
                                     weight * plane.At(column.position, row.position, channel);
                                 sum += value;
                                 magnitude += std::fabs(value);
                                 weights += weight;
                             }
                         }
                         return Expected{sum / weights, magnitude / std::fabs(weights)};
                     });
}

SelfCheckOutcome CheckStereo(const Device& device) {
    const ImageCheck check(device);
    const Plane planes[] = {MakePlane(5), MakePlane(6)};
    const OpenCLMemoryObjectRef first = check.Send(planes[0]);
    const OpenCLMemoryObjectRef second = check.Send(planes[1]);
    const OpenCLMemoryObjectRef destination = check.Make(kWidth, kHeight);
    const StereoSbsParameters parameters{1, &first, &second, &destination, 0, 0, kWidth, kHeight};
    return check.Run("image.stereo.sbs", &parameters, destination, kWidth, kHeight, 1e-7,
                     [&](Int64 x, Int64 y, size_t channel) {
                         constexpr Int64 kHalf = kWidth / 2;
                         const Plane& plane = planes[x < kHalf ? 0 : 1];
                         const Int64 column = 2 * (x < kHalf ? x : x - kHalf);
                         const double sum = plane.At(column, y, channel) + plane.At(column + 1, y, channel);
                         return Expected{channel == 3 ? sum : sum / 2, sum};
                     });
}

}  // namespace nuvra::app
