#include "framework.h"

#include <stdexcept>

namespace nuvra::bench {

constinit host::Program g_program{"net.nuvra.opencl.benchmark",
                                  "the benchmark",
                                  {"net.nuvra.core.framework", "net.nuvra.opencl.framework"}};

void Check(const ErrorRef& error) {
    if (error) throw std::runtime_error(error.GetMessage().GetChars());
}

host::Options UseRuntime(const std::filesystem::path& runtime, std::shared_ptr<host::Tracing> tracing) {
    host::Options options;
    options.tracing = std::move(tracing);
    if (!runtime.empty()) options.redirects.emplace(NUVRA_RUNTIME_NAME, runtime.string());
    return options;
}

Framework::Framework(const std::filesystem::path& runtime, const std::filesystem::path& module,
                     std::shared_ptr<host::Tracing> tracing)
    : _host(UseRuntime(runtime, std::move(tracing))) {
    Check(_host.LoadModules(module));
    Check(_host.AddProgram(g_program));
    Check(_host.Start());
}

OpenCLContextRef Framework::CreateContext() {
    BaseArray<OpenCLPlatformRef> platforms;
    Check(OpenCL::GetPlatforms(platforms));
    BaseArray<OpenCLDeviceRef> devices;
    Check(platforms[0].GetDevices(devices));
    const auto platform = Check(Check(platforms[0].GetInfo(OpenCLPlatformInfo::ID)).Get<Int64>());
    const auto device = Check(Check(devices[0].GetInfo(OpenCLDeviceInfo::ID)).Get<Int64>());
    BaseArray<cl_device_id> ids;
    Check(ids.Append(reinterpret_cast<cl_device_id>(device)));
    return Check(OpenCL::CreateContext(reinterpret_cast<cl_platform_id>(platform), ids));
}

}  // namespace nuvra::bench
