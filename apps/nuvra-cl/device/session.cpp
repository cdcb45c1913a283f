#include "device/session.h"

#include "nuvra/host/file_name.h"
#include "system/drivers.h"
#include "system/program_files.h"
#include "system/system.h"

namespace nuvra::app {

namespace {

namespace fs = std::filesystem;

constinit host::Program g_program{
    "net.nuvra.cl", "nuvra-cl", {"net.nuvra.core.framework", "net.nuvra.opencl.framework"}};

constexpr std::string_view kWarning = "Warning: ";

/// An existing file by its absolute path; any other name is left to the system's search path.
std::string ResolveRuntime(const std::string& runtime) {
    std::error_code error;
    const fs::path file = host::ToPath(runtime);
    return fs::exists(file, error) ? host::ToText(fs::absolute(file)) : runtime;
}

host::Options MakeHostOptions(Environment& environment) {
    host::Options options;
    const std::string& runtime = environment.options.runtime;
    if (!runtime.empty()) options.redirects[NUVRA_RUNTIME_NAME] = ResolveRuntime(runtime);
    options.diagnostics = [&environment](std::string_view message) {
        environment.diagnostics.emplace_back(message);
    };
    options.tracing = environment.tracing;
    return options;
}

}  // namespace

Session::Session(Environment& environment) : _environment(environment), _host(MakeHostOptions(environment)) {
    const std::string& wanted = environment.options.module;
    const fs::path module = wanted.empty() ? FindProgramFile(NUVRA_MODULE_PATH) : host::ToPath(wanted);
    Check(_host.AddProgram(g_program), "cannot start");
    Check(_host.LoadModules(module), "cannot start");
    Check(_host.Start(), "cannot start");
}

/// The loader's own words stand in the warning with which the module started; it is told once.
void Session::FailWithoutRuntime(const ErrorRef& error) {
    std::string reason = DescribeError(error);
    std::vector<std::string>& diagnostics = _environment.diagnostics;
    for (auto message = diagnostics.begin(); message != diagnostics.end(); ++message) {
        if (!message->starts_with(kWarning)) continue;
        reason = FirstLine(std::string_view(*message).substr(kWarning.size()), reason);
        diagnostics.erase(message);
        break;
    }
    const std::string& runtime = _environment.options.runtime;
    if (!runtime.empty()) throw Failure("cannot use the OpenCL runtime " + Quote(runtime) + ": " + reason);
    throw Failure("the system's OpenCL runtime cannot be used (" + reason + "); " + GetRuntimeAdvice());
}

void Session::FailWithoutPlatforms(const std::string& reason) const {
    const std::string& runtime = _environment.options.runtime;
    if (!runtime.empty())
        throw Failure("the OpenCL runtime " + Quote(runtime) + " gives no platform (" + reason + ")");
    std::string drivers;
    for (const std::string& driver : DescribeDrivers()) drivers += (drivers.empty() ? "" : "; ") + driver;
    if (!drivers.empty()) throw Failure("no OpenCL driver gives a platform: " + drivers);
    throw Failure("no OpenCL runtime is installed (" + reason + "); " + GetRuntimeAdvice());
}

std::vector<PlatformEntry> Session::ListPlatforms() {
    BaseArray<OpenCLPlatformRef> platforms;
    const Result<void> listed = OpenCL::GetPlatforms(platforms);
    const Int32 code = listed.IsOk() ? 0 : GetCode(listed.GetError());
    if (code == static_cast<Int32>(OpenCLErrorCode::OPENCL_UNINITIALIZED))
        FailWithoutRuntime(listed.GetError());
    constexpr Int32 kPlatformNotFound = -1001;  // CL_PLATFORM_NOT_FOUND_KHR, from the ICD loader
    if (code == kPlatformNotFound || (listed.IsOk() && platforms.IsEmpty()))
        FailWithoutPlatforms(listed.IsOk() ? "there are none" : DescribeError(listed.GetError()));
    Check(listed, "cannot list the OpenCL platforms");

    std::vector<PlatformEntry> entries;
    int number = 0;
    for (const OpenCLPlatformRef& platform : platforms) {
        PlatformEntry entry{GetText(platform, OpenCLPlatformInfo::NAME), platform, {}, {}};
        BaseArray<OpenCLDeviceRef> devices;
        const Result<void> found = platform.GetDevices(devices);
        if (!found.IsOk()) {
            entry.problem = DescribeError(found.GetError());
            if (GetCode(found.GetError()) == static_cast<Int32>(OpenCLErrorCode::UNSPECIFIED))
                entry.problem = "a device gives a version that cannot be read: " + entry.problem;
        } else if (devices.IsEmpty()) {
            entry.problem = "it has no devices";
        }
        for (const OpenCLDeviceRef& device : devices)
            entry.devices.push_back({number++, GetText(device, OpenCLDeviceInfo::NAME), device});
        entries.push_back(std::move(entry));
    }
    return entries;
}

Device Session::OpenDevice() {
    const std::vector<PlatformEntry> platforms = ListPlatforms();
    const DeviceEntry& chosen = ChooseDevice(platforms, _environment.options.device);
    Device device;
    device.name = chosen.name;
    _deviceJob.emplace("the OpenCL runtime failed on " + Quote(device.name));
    BaseArray<cl_device_id> devices;
    device.Check(
        devices.Append(reinterpret_cast<cl_device_id>(GetNumber<Int64>(chosen.device, OpenCLDeviceInfo::ID))),
        "make a context");
    device.context = device.Check(OpenCL::CreateContext(reinterpret_cast<cl_platform_id>(GetNumber<Int64>(
                                                            chosen.device, OpenCLDeviceInfo::PLATFORM)),
                                                        devices),
                                  "make a context");
    device.queue = device.Check(device.context.CreateCommandQueue(), "make a command queue");
    return device;
}

OpenCLTaskRef Device::GetTask(const char* key) const {
    const LibraryJob job("the OpenCL runtime failed to build the task " + Quote(key) + " on " + Quote(name));
    Result<OpenCLTaskRef> task = context.GetTask(app::Check(String::FromCText(key), "cannot name a task"));
    const bool isBuildFailure =
        !task.IsOk() &&
        GetCode(task.GetError()) == static_cast<Int32>(OpenCLErrorCode::BUILD_PROGRAM_FAILURE);
    return Check(std::move(task),
                 std::string(isBuildFailure ? "build" : "prepare") + " the task " + Quote(key));
}

void Device::Run(const OpenCLTaskRef& task, const char* key, const void* parameters) const {
    Check(task.Execute(context, queue, parameters), "run the task " + Quote(key));
}

}  // namespace nuvra::app
