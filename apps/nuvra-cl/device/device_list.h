#pragma once

#include <string>
#include <vector>

#include "nuvra/open_cl.h"

namespace nuvra::app {

struct DeviceEntry {
    int number = 0;  ///< from 0, over all platforms
    std::string name;
    OpenCLDeviceRef device;
};

struct PlatformEntry {
    std::string name;
    OpenCLPlatformRef platform;
    std::vector<DeviceEntry> devices;
    std::string problem;  ///< why the devices cannot be had; empty when they can
};

/// The text behind a selector of a platform or device.
template <class Ref>
std::string GetText(const Ref& object, UInt32 selector) {
    const auto info = object.GetInfo(selector);
    const String* text = info.IsOk() ? info.GetValue().template Find<String>() : nullptr;
    return text == nullptr ? std::string() : std::string(text->GetView());
}

/// The number behind a selector; 0 when there is none.
template <class T, class Ref>
T GetNumber(const Ref& object, UInt32 selector) {
    const auto info = object.GetInfo(selector);
    const T* number = info.IsOk() ? info.GetValue().template Find<T>() : nullptr;
    return number == nullptr ? T{} : *number;
}

/// The device that `wanted` names: its number, or a part of its name in either case, which is more than
/// digits. Without a name, the first GPU, or else the first device. Throws a `Failure` that lists the
/// choices.
const DeviceEntry& ChooseDevice(const std::vector<PlatformEntry>& platforms, const std::string& wanted);

/// Why there is no device at all.
std::string DescribeMissingDevices(const std::vector<PlatformEntry>& platforms);

}  // namespace nuvra::app
