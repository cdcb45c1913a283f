#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

#include "device/pixel_transfer.h"
#include "selftest/check.h"
#include "selftest/references.h"

namespace nuvra::app {

namespace {

constexpr Int64 kWidth = 301;
constexpr Int64 kHeight = 223;
constexpr double kFloatBound = 1e-5;

using reference::Axis;
using reference::Plane;
using Expected = reference::Sample;

Plane MakePlane(unsigned seed) {
    return reference::RandomPlane(kWidth, kHeight, seed, 0.05F);
}

/// What a pixel's channel must be.
using Reference = std::function<Expected(Int64 x, Int64 y, size_t channel)>;

class ImageCheck {
public:
    explicit ImageCheck(const Device& device) : _device(device) {}

    OpenCLMemoryObjectRef Send(const Plane& picture) const {
        OpenCLMemoryObjectRef image = Make(picture.width, picture.height);
        const size_t origin[] = {0, 0, 0};
        const size_t region[] = {static_cast<size_t>(picture.width), static_cast<size_t>(picture.height), 1};
        _device.Check(
            _device.queue.EnqueueWriteImage(image, true, origin, region, 0, 0, picture.values.data()),
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
                    // `!(a <= b)`: NaN counts as the largest error.
                    if (!(error <= outcome.error)) outcome.error = error;
                }
            }
        }
        return outcome;
    }

private:
    const Device& _device;
};

}  // namespace

SelfCheckOutcome CheckInvert(const Device& device) {
    const ImageCheck check(device);
    const Plane picture = MakePlane(1);
    const OpenCLMemoryObjectRef source = check.Send(picture);
    const OpenCLMemoryObjectRef destination = check.Make(kWidth, kHeight);
    const InvertImageParameters parameters{1, &source, &destination, 0, 0, kWidth, kHeight};
    return check.Run("image.invert", &parameters, destination, kWidth, kHeight, 1e-7,
                     [&](Int64 x, Int64 y, size_t channel) {
                         const double value = picture.At(x, y, channel);
                         return Expected{channel == 3 ? value : 1 - value, 1 + value};
                     });
}

SelfCheckOutcome CheckGamma(const Device& device) {
    const ImageCheck check(device);
    const Plane picture = MakePlane(2);
    const OpenCLMemoryObjectRef source = check.Send(picture);
    const OpenCLMemoryObjectRef destination = check.Make(kWidth, kHeight);
    const GammaImageParameters parameters{1, &source, &destination, 0, 0, kWidth, kHeight, 2.2};
    return check.Run("image.gamma", &parameters, destination, kWidth, kHeight, kFloatBound,
                     [&](Int64 x, Int64 y, size_t channel) {
                         const double value = picture.At(x, y, channel);
                         const double power = channel == 3 ? value : std::pow(value, 2.2F);
                         return Expected{power, power};
                     });
}

SelfCheckOutcome CheckScaleNearest(const Device& device) {
    constexpr Int64 kToWidth = 450;
    constexpr Int64 kToHeight = 100;
    const ImageCheck check(device);
    const Plane picture = MakePlane(3);
    const OpenCLMemoryObjectRef source = check.Send(picture);
    const OpenCLMemoryObjectRef destination = check.Make(kToWidth, kToHeight);
    const ScaleParameters parameters{1, &source, &destination, 0,        0, kWidth, kHeight,
                                     0, 0,       kToWidth,     kToHeight};
    const Axis columns(0, kWidth, 0, kToWidth);
    const Axis rows(0, kHeight, 0, kToHeight);
    return check.Run("image.scalenearest", &parameters, destination, kToWidth, kToHeight, 0,
                     [&](Int64 x, Int64 y, size_t channel) {
                         return Expected{reference::NearestAt(picture, columns, x, rows, y, channel), 1};
                     });
}

SelfCheckOutcome CheckScaleBicubic(const Device& device) {
    constexpr Int64 kToWidth = 173;
    constexpr Int64 kToHeight = 120;
    const ImageCheck check(device);
    const Plane picture = MakePlane(4);
    const OpenCLMemoryObjectRef source = check.Send(picture);
    const OpenCLMemoryObjectRef destination = check.Make(kToWidth, kToHeight);
    const ScaleParameters parameters{1, &source, &destination, 0,        0, kWidth, kHeight,
                                     0, 0,       kToWidth,     kToHeight};
    const Axis columns(0, kWidth, 0, kToWidth);
    const Axis rows(0, kHeight, 0, kToHeight);
    return check.Run("image.scalebicubic", &parameters, destination, kToWidth, kToHeight, kFloatBound,
                     [&](Int64 x, Int64 y, size_t channel) {
                         return reference::BicubicAt(picture, columns, x, rows, y, channel);
                     });
}

SelfCheckOutcome CheckStereo(const Device& device) {
    const ImageCheck check(device);
    const Plane pictures[] = {MakePlane(5), MakePlane(6)};
    const OpenCLMemoryObjectRef first = check.Send(pictures[0]);
    const OpenCLMemoryObjectRef second = check.Send(pictures[1]);
    const OpenCLMemoryObjectRef destination = check.Make(kWidth, kHeight);
    const StereoSbsParameters parameters{1, &first, &second, &destination, 0, 0, kWidth, kHeight};
    return check.Run("image.stereo.sbs", &parameters, destination, kWidth, kHeight, 1e-7,
                     [&](Int64 x, Int64 y, size_t channel) {
                         const double value =
                             reference::StereoAt(pictures[0], pictures[1], kWidth, x, y, channel);
                         return Expected{value, channel == 3 ? value : 2 * value};
                     });
}

}  // namespace nuvra::app
