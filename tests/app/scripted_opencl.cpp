#include <csignal>
#include <cstdlib>
#include <sstream>
#include <string>

#include "fake_opencl.h"

/// Sets the fake runtime up when it is loaded into a process that no test can reach into:
///
/// FAKE_PLATFORMS  "One,Two GPU;;Three": devices between commas, platforms between semicolons; a name with
///                 "GPU" in it makes a GPU, any other a CPU
/// FAKE_DRIVER     every device's driver version
/// FAKE_FAIL       "clFinish=-5": the function that fails, and its code
/// FAKE_END        "clFinish=abort": the function in which the runtime ends the program, and how: "abort",
///                 "exit", "overflow" of the stack, or the number of a signal; "load" for doing so at once
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

int Overflow(const volatile char* outer) {
    const volatile char frame[4096] = {*outer};
    return outer != nullptr ? Overflow(frame) + frame[0] : 0;
}

[[noreturn]] void End(const std::string& how) {
    if (how == "exit") std::exit(0);
    if (how == "overflow") std::exit(Overflow(how.c_str()));
    if (how != "abort") std::raise(std::stoi(how));
    std::abort();
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
    const std::string end = GetVariable("FAKE_END");
    if (end == "load") End("abort");
    if (const size_t sign = end.find('='); sign != std::string::npos)
        control.intercept = [name = end.substr(0, sign), how = end.substr(sign + 1)](const Call& call) {
            if (call.name == name) End(how);
            return 0;
        };
    return true;
}

const bool g_isSetUp = SetUp();

}  // namespace
}  // namespace nuvra::fake
