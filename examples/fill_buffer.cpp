// The shortest useful caller: starts the host with the module, fills a buffer on the first device and reads
// it back.
//
//     fill_buffer MODULE

#include <algorithm>
#include <cstdio>
#include <vector>

#include "example.h"
#include "nuvra/host/host.h"
#include "nuvra/open_cl.h"

namespace {

using namespace nuvra;

// Through this the host fills the interfaces that the program uses.
constinit host::Program g_program{"net.nuvra.example.fill_buffer",
                                  "fill_buffer",
                                  {"net.nuvra.core.framework", "net.nuvra.opencl.framework"}};

Result<void> FillBuffer() {
    std::vector<UChar> bytes(1000003);
    NUVRA_ASSIGN_OR_RETURN(const OpenCLDeviceRef device, FindFirstDevice());
    NUVRA_ASSIGN_OR_RETURN(const Data deviceName, device.GetInfo(OpenCLDeviceInfo::NAME));
    NUVRA_ASSIGN_OR_RETURN(const String text, deviceName.ToText());
    std::printf("On %s\n", text.GetChars());

    NUVRA_ASSIGN_OR_RETURN(const auto context, CreateContext(device));
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
    NUVRA_RETURN_IF_ERROR(host.AddProgram(g_program));
    NUVRA_RETURN_IF_ERROR(host.LoadModules(module));
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
    return result.IsOk() ? 0 : Fail("fill_buffer", result.GetError());
}
