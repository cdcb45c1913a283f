#include "pictures/pixels.h"

#include <algorithm>

#include "console/failure.h"

namespace nuvra::app {

namespace {

constexpr SampleType kSampleTypes[] = {
    {Samples::UINT8, OpenCLChannelDataType::UNORM_INT8, "uint8", 1, 0xff},
    {Samples::UINT16, OpenCLChannelDataType::UNORM_INT16, "uint16", 2, 0xffff},
    {Samples::HALF, OpenCLChannelDataType::HALF_FLOAT, "half", 2, 0x3c00},
    {Samples::FLOAT, OpenCLChannelDataType::FLOAT, "float", 4, 0x3f800000},
};

/// Calls `copy` with a null pointer to the unsigned integer that is as wide as a sample.
template <class Copy>
void WithWidth(const SampleType& type, const Copy& copy) {
    if (type.bytes == 1) return copy(static_cast<std::uint8_t*>(nullptr));
    if (type.bytes == 2) return copy(static_cast<std::uint16_t*>(nullptr));
    copy(static_cast<std::uint32_t*>(nullptr));
}

}  // namespace

const SampleType& GetSampleType(Samples samples) {
    return kSampleTypes[static_cast<size_t>(samples)];
}

PictureLayout MakeLayout(Int64 width, Int64 height, int channelCount) {
    PictureLayout layout{width, height, {"R", "G", "B"}};
    if (channelCount < 3) layout.channels = {"Y"};
    if (channelCount % 2 == 0) {
        layout.alpha = channelCount - 1;
        layout.channels.emplace_back("A");
    }
    return layout;
}

ChannelMap::ChannelMap(const PictureLayout& layout, const std::string& picture)
    : _channelCount(layout.channels.size()), _sources{kZero, kZero, kZero, kOne} {
    std::string names;
    constexpr size_t kNamed = 8;
    for (size_t i = 0; i < std::min(_channelCount, kNamed); i++)
        names += (i > 0 ? ", " : "") + layout.channels[i];
    if (_channelCount > kNamed) names += ", ...";
    // Some readers do not say, or say wrongly, which channel is alpha; a fourth one has no other place.
    const bool isNamed = layout.alpha >= 0 && static_cast<size_t>(layout.alpha) < _channelCount;
    const bool hasAlpha = isNamed || _channelCount == 4;
    const size_t alpha = isNamed ? static_cast<size_t>(layout.alpha) : 3;
    const size_t colourCount = _channelCount - (hasAlpha ? 1 : 0);
    if (_channelCount < 1 || colourCount > 3)
        throw Failure("cannot work on " + Quote(picture) + ": it has " + std::to_string(_channelCount) +
                      " channels (" + names + "), and only three colours and alpha can be worked on");
    size_t colour = 0;
    for (size_t channel = 0; channel < _channelCount; channel++) {
        const bool isAlpha = hasAlpha && channel == alpha;
        const size_t slot = isAlpha ? 3 : colour++;
        _sources[slot] = channel;
        _slots[channel] = slot;
    }
    if (colourCount == 1) _sources[1] = _sources[2] = _sources[0];
}

void ChannelMap::ToDevice(const SampleType& type, const void* pixels, void* rgba, size_t count) const {
    WithWidth(type, [&](auto* width) {
        using Sample = std::remove_pointer_t<decltype(width)>;
        const auto* from = static_cast<const Sample*>(pixels);
        auto* to = static_cast<Sample*>(rgba);
        std::array<Sample, 6> pixel{};
        pixel[kOne] = static_cast<Sample>(type.one);
        for (size_t i = 0; i < count; i++, from += _channelCount, to += 4) {
            for (size_t channel = 0; channel < _channelCount; channel++) pixel[channel] = from[channel];
            for (size_t slot = 0; slot < 4; slot++) to[slot] = pixel[_sources[slot]];
        }
    });
}

void ChannelMap::FromDevice(const SampleType& type, const void* rgba, void* pixels, size_t count) const {
    WithWidth(type, [&](auto* width) {
        using Sample = std::remove_pointer_t<decltype(width)>;
        const auto* from = static_cast<const Sample*>(rgba);
        auto* to = static_cast<Sample*>(pixels);
        for (size_t i = 0; i < count; i++, from += 4, to += _channelCount)
            for (size_t channel = 0; channel < _channelCount; channel++) to[channel] = from[_slots[channel]];
    });
}

}  // namespace nuvra::app
