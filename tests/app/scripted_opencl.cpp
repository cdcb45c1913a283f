#include <cstdlib>
#include <sstream>
#include <string>

#include "fake_opencl.h"

/// Sets the fake runtime up when it is loaded into a process that no test can reach into:
///
///     FAKE_PLATFORMS   "One,Two GPU;;Three": devices between commas, platforms between semicolons. A name
///     with
///                      "GPU" in it makes a GPU, any other a CPU.
///     FAKE_DRIVER      every device's driver version
///     FAKE_FAIL        "clFinish=-5": the function that fails, and its code
namespace nuvra::fake {

namespace {

std::string GetVariable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

void AddDevices(Object& platform, const std::string& names) {
    std::istringstream list(names);
    for (std::string name; std::getline(list, name, ',');) {
        const cl_device_type type =
            name.find("GPU") != std::string::npos ? CL_DEVICE_TYPE_GPU : CL_DEVICE_TYPE_CPU;
        Object& device = Control::Get().AddDevice(platform, name);
        device.info[CL_DEVICE_TYPE] = NumberBytes<cl_device_type>({type});
        if (const std::string driver = GetVariable("FAKE_DRIVER"); !driver.empty())
            device.info[CL_DRIVER_VERSION] = TextBytes(driver);
    }
}

bool SetUp() {
    Control& control = Control::Get();
    control.Reset();
    control.platforms.clear();
    control.buildLog = "kernel.cl:1: this is not C";
    const std::string platforms = GetVariable("FAKE_PLATFORMS");
    std::istringstream list(platforms);
    int number = 1;
    for (std::string devices; std::getline(list, devices, ';'); number++)
        AddDevices(control.AddPlatform("Platform " + std::to_string(number)), devices);
    const std::string failure = GetVariable("FAKE_FAIL");
    if (const size_t sign = failure.find('='); sign != std::string::npos)
        control.Fail(failure.substr(0, sign), std::stoi(failure.substr(sign + 1)));
    return true;
}

const bool g_isSetUp = SetUp();

}  // namespace

}  // namespace nuvra::fake
