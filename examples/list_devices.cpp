// Lists the devices of every OpenCL platform.
//
//     list_devices MODULE

#include <cstdio>

#include "example.h"
#include "nuvra/host/host.h"
#include "nuvra/open_cl.h"

namespace {

using namespace nuvra;

// Through this the host fills the interfaces that the program uses.
constinit host::Program g_program{"net.nuvra.example.list_devices",
                                  "list_devices",
                                  {"net.nuvra.core.framework", "net.nuvra.opencl.framework"}};

Result<void> Print(const OpenCLDeviceRef& device, UInt32 which) {
    NUVRA_ASSIGN_OR_RETURN(const Data info, device.GetInfo(which));
    NUVRA_ASSIGN_OR_RETURN(const String text, info.ToText());
    std::printf("  %s\n", text.GetChars());
    return {};
}

Result<void> ListDevices() {
    BaseArray<OpenCLPlatformRef> platforms;
    NUVRA_RETURN_IF_ERROR(FindPlatforms(platforms));
    for (const OpenCLPlatformRef& platform : platforms) {
        NUVRA_ASSIGN_OR_RETURN(const Data info, platform.GetInfo(OpenCLPlatformInfo::NAME));
        NUVRA_ASSIGN_OR_RETURN(const String name, info.ToText());
        std::printf("%s:\n", name.GetChars());
        BaseArray<OpenCLDeviceRef> devices;
        const Result<void> found = platform.GetDevices(devices);
        // The other platforms' devices are there all the same.
        if (!found.IsOk()) std::printf("  no devices: %s\n", Describe(found.GetError()).c_str());
        for (const OpenCLDeviceRef& device : devices) {
            NUVRA_RETURN_IF_ERROR(Print(device, OpenCLDeviceInfo::NAME));
            NUVRA_RETURN_IF_ERROR(Print(device, OpenCLDeviceInfo::OPENCL_C_VERSION));
        }
    }
    return {};
}

Result<void> Run(host::Host& host, const char* module) {
    NUVRA_RETURN_IF_ERROR(host.AddProgram(g_program));
    NUVRA_RETURN_IF_ERROR(host.LoadModules(module));
    NUVRA_RETURN_IF_ERROR(host.Start());
    return ListDevices();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: list_devices MODULE\n", stderr);
        return 2;
    }
    // An error is an object of the module: it must be gone before the host unloads that.
    host::Host host;
    const Result<void> result = Run(host, argv[1]);
    return result.IsOk() ? 0 : Fail("list_devices", result.GetError());
}
