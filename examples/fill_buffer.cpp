// The shortest useful caller: starts the host with the module, fills a buffer on the first device and reads
// it back.
//
//     fill_buffer MODULE

#include <algorithm>
#include <cstdio>
#include <vector>

#include "nuvra/host.h"
#include "nuvra/open_cl.h"

namespace {

using namespace nuvra;

// The program is a module as well: through its records the host fills the interfaces that it uses.
constexpr Id kDependencies[] = {"net.nuvra.core.framework", "net.nuvra.opencl.framework"};
constinit ModuleRecord* g_modules = nullptr;
constinit ModuleRecord g_module{"net.nuvra.opencl.example", 0, kDependencies};
const ModuleRegistration g_registration{g_modules, g_module, {}};

Result<OpenCLContextRef> CreateContext() {
    BaseArray<OpenCLPlatformRef> platforms;
    NUVRA_RETURN_IF_ERROR(OpenCL::GetPlatforms(platforms));
    BaseArray<OpenCLDeviceRef> devices;
    NUVRA_RETURN_IF_ERROR(platforms[0].GetDevices(devices));

    NUVRA_ASSIGN_OR_RETURN(const Data name, devices[0].GetInfo(OpenCLDeviceInfo::NAME));
    NUVRA_ASSIGN_OR_RETURN(const String text, name.ToText());
    std::printf("On %s\n", text.GetChars());

    NUVRA_ASSIGN_OR_RETURN(const Data platform, platforms[0].GetInfo(OpenCLPlatformInfo::ID));
    NUVRA_ASSIGN_OR_RETURN(const Int64 platformId, platform.Get<Int64>());
    NUVRA_ASSIGN_OR_RETURN(const Data device, devices[0].GetInfo(OpenCLDeviceInfo::ID));
    NUVRA_ASSIGN_OR_RETURN(const Int64 deviceId, device.Get<Int64>());
    BaseArray<cl_device_id> ids;
    NUVRA_RETURN_IF_ERROR(ids.Append(reinterpret_cast<cl_device_id>(deviceId)));
    return OpenCL::CreateContext(reinterpret_cast<cl_platform_id>(platformId), ids);
}

Result<void> FillBuffer() {
    std::vector<UChar> bytes(1000003);
    NUVRA_ASSIGN_OR_RETURN(const auto context, CreateContext());
    NUVRA_ASSIGN_OR_RETURN(const auto queue, context.CreateCommandQueue());
    NUVRA_ASSIGN_OR_RETURN(const auto buffer,
                           context.CreateBuffer(OpenCLMemoryFlags::READ_WRITE, bytes.size()));
    NUVRA_ASSIGN_OR_RETURN(const String name, String::FromCText("clearmem"));
    NUVRA_ASSIGN_OR_RETURN(const auto task, context.GetTask(name));

    ClearMemParameters parameters;
    parameters.buffer = &buffer;
    parameters.size = static_cast<Int64>(bytes.size());
    parameters.value = 42;
    NUVRA_RETURN_IF_ERROR(task.Execute(context, queue, &parameters));
    NUVRA_RETURN_IF_ERROR(queue.EnqueueReadBuffer(buffer, true, 0, bytes.size(), bytes.data()));

    std::printf("%td of %zu bytes are 42\n", std::ranges::count(bytes, 42), bytes.size());
    return {};
}

Result<void> Run(host::Host& host, const char* module) {
    NUVRA_RETURN_IF_ERROR(host.LoadModules(module));
    NUVRA_RETURN_IF_ERROR(host.AddModules(g_modules, "the example"));
    NUVRA_RETURN_IF_ERROR(host.Start());
    return FillBuffer();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: fill_buffer MODULE\n", stderr);
        return 2;
    }
    // An error is an object of the module: it must be gone before the host unloads that.
    host::Host host;
    const Result<void> result = Run(host, argv[1]);
    if (result.IsOk()) return 0;
    const ErrorRef& error = result.GetError();
    std::fprintf(stderr, "fill_buffer: %s (OpenCL code %d, %s:%d)\n", error.GetMessage().GetChars(),
                 OpenCLErrorRef(error).GetErrorCode(), error.GetLocation().file, error.GetLocation().line);
    return 1;
}
