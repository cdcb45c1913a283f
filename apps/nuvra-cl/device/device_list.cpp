#include "device/device_list.h"

#include <algorithm>
#include <cctype>

#include "console/failure.h"

namespace nuvra::app {

namespace {

using Entries = std::vector<const DeviceEntry*>;

Entries GetAllDevices(const std::vector<PlatformEntry>& platforms) {
    Entries all;
    for (const PlatformEntry& platform : platforms)
        for (const DeviceEntry& device : platform.devices) all.push_back(&device);
    return all;
}

std::string ToLower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::string ListChoices(const Entries& entries) {
    std::string list;
    for (const DeviceEntry* entry : entries)
        list += (list.empty() ? "" : ", ") + ("device " + std::to_string(entry->number)) + " is " +
                Quote(entry->name);
    return list;
}

}  // namespace

std::string DescribeMissingDevices(const std::vector<PlatformEntry>& platforms) {
    std::string reasons;
    for (const PlatformEntry& platform : platforms)
        reasons += (reasons.empty() ? "" : "; ") + Quote(platform.name) + ": " + platform.problem;
    return "no OpenCL device was found (" + reasons + ")";
}

const DeviceEntry& ChooseDevice(const std::vector<PlatformEntry>& platforms, const std::string& wanted) {
    const Entries all = GetAllDevices(platforms);
    if (all.empty()) throw Failure(DescribeMissingDevices(platforms));
    if (wanted.empty()) {
        const auto device = std::find_if(all.begin(), all.end(), [](const DeviceEntry* entry) {
            return (GetNumber<UInt64>(entry->device, OpenCLDeviceInfo::TYPE) & CL_DEVICE_TYPE_GPU) != 0;
        });
        return device == all.end() ? *all.front() : **device;
    }
    // All digits means a device number, never part of a name: most names have digits.
    const bool isNumber = wanted.find_first_not_of("0123456789") == std::string::npos;
    Entries matches;
    for (const DeviceEntry* entry : all) {
        if (std::to_string(entry->number) == wanted) return *entry;
        if (!isNumber && ToLower(entry->name).find(ToLower(wanted)) != std::string::npos)
            matches.push_back(entry);
    }
    if (matches.size() == 1) return *matches.front();
    if (matches.empty()) throw Failure("no device is called " + Quote(wanted) + "; " + ListChoices(all));
    throw Failure("several devices are called " + Quote(wanted) + ": " + ListChoices(matches));
}

}  // namespace nuvra::app
