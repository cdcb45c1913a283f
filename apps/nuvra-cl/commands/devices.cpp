#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "console/command.h"
#include "console/failure.h"
#include "device/session.h"

namespace nuvra::app {

namespace {

using Json = nlohmann::ordered_json;
using Info = OpenCLDeviceInfo;

struct BitName {
    UInt64 bit;
    const char* name;
};
constexpr BitName kTypeNames[] = {
    {CL_DEVICE_TYPE_CPU, "CPU"},
    {CL_DEVICE_TYPE_GPU, "GPU"},
    {CL_DEVICE_TYPE_ACCELERATOR, "accelerator"},
    {CL_DEVICE_TYPE_CUSTOM, "custom"},
    {CL_DEVICE_TYPE_DEFAULT, "default"},
};
constexpr BitName kQueueNames[] = {
    {OpenCLQueueFlags::OUT_OF_ORDER_EXEC_MODE, "out-of-order execution"},
    {OpenCLQueueFlags::PROFILING, "profiling"},
};
constexpr BitName kExecutionNames[] = {
    {CL_EXEC_KERNEL, "kernels"},
    {CL_EXEC_NATIVE_KERNEL, "native kernels"},
};

template <size_t N>
Json NameBits(UInt64 bits, const BitName (&names)[N]) {
    Json list = Json::array();
    for (const BitName& entry : names)
        if ((bits & entry.bit) != 0) list.push_back(entry.name);
    return list;
}

template <class T, class Ref>
Json GetList(const Ref& object, UInt32 selector) {
    Json list = Json::array();
    const auto info = object.GetInfo(selector);
    const BaseArray<T>* items = info.IsOk() ? info.GetValue().template Find<BaseArray<T>>() : nullptr;
    if (items == nullptr) return list;
    for (const T& item : *items) {
        if constexpr (std::is_same_v<T, String>)
            list.push_back(std::string(item.GetView()));
        else
            list.push_back(item);
    }
    return list;
}

Json DescribeDevice(const DeviceEntry& entry) {
    const OpenCLDeviceRef& device = entry.device;
    return {
        {"number", entry.number},
        {"name", entry.name},
        {"vendor", GetText(device, Info::VENDOR)},
        {"type", NameBits(GetNumber<UInt64>(device, Info::TYPE), kTypeNames)},
        {"version", GetText(device, Info::VERSION)},
        {"versionNumber", GetNumber<Int64>(device, Info::VERSION_NUMBER)},
        {"openCLCVersion", GetText(device, Info::OPENCL_C_VERSION)},
        {"openCLCVersionNumber", GetNumber<Int64>(device, Info::OPENCL_C_VERSION_NUMBER)},
        {"driverVersion", GetText(device, Info::DRIVER_VERSION)},
        {"driverVersionNumber", GetNumber<Int64>(device, Info::DRIVER_VERSION_NUMBER)},
        {"maxWorkItemDimensions", GetNumber<Int64>(device, Info::MAX_WORK_ITEM_DIMENSIONS)},
        {"maxWorkItemSizes", GetList<Int64>(device, Info::MAX_WORK_ITEM_SIZES)},
        {"queueProperties", NameBits(GetNumber<UInt64>(device, Info::QUEUE_PROPERTIES), kQueueNames)},
        {"executionCapabilities",
         NameBits(GetNumber<UInt64>(device, Info::EXECUTION_CAPABILITIES), kExecutionNames)},
        {"available", GetNumber<Bool>(device, Info::AVAILABLE)},
        {"compilerAvailable", GetNumber<Bool>(device, Info::COMPILER_AVAILABLE)},
        {"extensions", GetList<String>(device, Info::EXTENSIONS)},
    };
}

Json DescribePlatform(const PlatformEntry& entry) {
    Json devices = Json::array();
    for (const DeviceEntry& device : entry.devices) devices.push_back(DescribeDevice(device));
    Json platform = {
        {"name", entry.name},
        {"vendor", GetText(entry.platform, OpenCLPlatformInfo::VENDOR)},
        {"profile", GetText(entry.platform, OpenCLPlatformInfo::PROFILE)},
        {"version", GetText(entry.platform, OpenCLPlatformInfo::VERSION)},
        {"versionNumber", GetNumber<Int64>(entry.platform, OpenCLPlatformInfo::VERSION_NUMBER)},
        {"extensions", GetList<String>(entry.platform, OpenCLPlatformInfo::EXTENSIONS)},
        {"devices", devices},
    };
    if (!entry.problem.empty()) platform["error"] = entry.problem;
    return platform;
}

/// The items with `separator` between them, "none" when there are none.
std::string Join(const Json& list, const char* separator) {
    std::string text;
    for (const Json& item : list)
        text += (text.empty() ? "" : separator) + (item.is_string() ? item.get<std::string>() : item.dump());
    return text.empty() ? "none" : text;
}

void PrintRow(const char* label, const std::string& text) {
    std::printf("  %-16s %s\n", label, text.c_str());
}

void PrintPlatform(const Json& platform) {
    std::printf("Platform %s\n", Quote(platform["name"].get<std::string>()).c_str());
    PrintRow("vendor", platform["vendor"]);
    PrintRow("version",
             platform["version"].get<std::string>() + " (" + platform["versionNumber"].dump() + ")");
    PrintRow("profile", platform["profile"]);
    PrintRow("extensions", Join(platform["extensions"], " "));
    if (platform.contains("error")) PrintRow("no devices", platform["error"]);
    std::printf("\n");
}

void PrintDevice(const Json& device) {
    const auto version = [&](const char* name) {
        return device[name].get<std::string>() + " (" + device[std::string(name) + "Number"].dump() + ")";
    };
    std::printf("Device %s: %s\n", device["number"].dump().c_str(),
                device["name"].get<std::string>().c_str());
    PrintRow("vendor", device["vendor"]);
    PrintRow("type", Join(device["type"], ", "));
    PrintRow("version", version("version"));
    PrintRow("OpenCL C version", version("openCLCVersion"));
    PrintRow("driver version", version("driverVersion"));
    PrintRow("work-item sizes", Join(device["maxWorkItemSizes"], " x "));
    PrintRow("queues", Join(device["queueProperties"], ", "));
    PrintRow("executes", Join(device["executionCapabilities"], ", "));
    PrintRow("available", device["available"] ? "yes" : "no");
    PrintRow("compiler", device["compilerAvailable"] ? "yes" : "no");
    PrintRow("extensions", Join(device["extensions"], " "));
    std::printf("\n");
}

class DevicesCommand : public Command {
public:
    void AddOptions(CLI::App& app) override {
        app.add_flag("--json", _isJson, "Print a JSON document");
        app.footer(
            "The number or a part of the name chooses a device for --device, which lists that device alone\n"
            "here. Behind each version stands the number that is made of it: major * 100 + minor * 10.");
    }

    bool PrintsResult() const override { return true; }
    void Run(Environment& environment) override {
        Session session(environment);
        std::vector<PlatformEntry> entries = session.ListPlatforms();
        if (!environment.options.device.empty()) KeepDevice(entries, environment.options.device);
        Json platforms = Json::array();
        for (const PlatformEntry& entry : entries) platforms.push_back(DescribePlatform(entry));
        if (_isJson) {
            const Json document{{"platforms", platforms}};
            std::printf("%s\n", document.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
        } else {
            for (const Json& platform : platforms) {
                PrintPlatform(platform);
                for (const Json& device : platform["devices"]) PrintDevice(device);
            }
        }
        bool hasDevices = false;
        for (const PlatformEntry& entry : entries) hasDevices = hasDevices || !entry.devices.empty();
        if (!hasDevices) throw Failure(DescribeMissingDevices(entries));
    }

private:
    static void KeepDevice(std::vector<PlatformEntry>& entries, const std::string& wanted) {
        const int number = ChooseDevice(entries, wanted).number;
        for (PlatformEntry& entry : entries)
            std::erase_if(entry.devices, [&](const DeviceEntry& device) { return device.number != number; });
        std::erase_if(entries, [](const PlatformEntry& entry) { return entry.devices.empty(); });
    }

    bool _isJson = false;
};

}  // namespace

CommandPtr MakeDevicesCommand() {
    return std::make_unique<DevicesCommand>();
}

}  // namespace nuvra::app
