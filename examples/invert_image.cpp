// Inverts the colours of one pixel on the first device.
//
//     invert_image MODULE

#include <cstdio>

#include "example.h"
#include "nuvra/host/host.h"
#include "nuvra/open_cl.h"

namespace {

using namespace nuvra;

// Through this the host fills the interfaces that the program uses.
constinit host::Program g_program{"net.nuvra.example.invert_image",
                                  "invert_image",
                                  {"net.nuvra.core.framework", "net.nuvra.opencl.framework"}};

Result<void> InvertPixel(UChar (&rgba)[4]) {
    NUVRA_ASSIGN_OR_RETURN(const OpenCLDeviceRef device, FindFirstDevice());
    NUVRA_ASSIGN_OR_RETURN(const OpenCLContextRef context, CreateContext(device));
    NUVRA_ASSIGN_OR_RETURN(const OpenCLCommandQueueRef queue, context.CreateCommandQueue());

    const OpenCLImageFormat format{OpenCLChannelOrder::RGBA, OpenCLChannelDataType::UNORM_INT8};
    NUVRA_ASSIGN_OR_RETURN(const auto source,
                           context.CreateImage2D(OpenCLMemoryFlags::READ_ONLY, format, 1, 1));
    NUVRA_ASSIGN_OR_RETURN(const auto destination,
                           context.CreateImage2D(OpenCLMemoryFlags::WRITE_ONLY, format, 1, 1));
    const size_t origin[3] = {0, 0, 0};
    const size_t size[3] = {1, 1, 1};
    NUVRA_RETURN_IF_ERROR(queue.EnqueueWriteImage(source, true, origin, size, 0, 0, rgba));

    NUVRA_ASSIGN_OR_RETURN(const String name, String::FromCText("image.invert"));
    NUVRA_ASSIGN_OR_RETURN(const OpenCLTaskRef task, context.GetTask(name));
    InvertImageParameters parameters;
    parameters.source = &source;
    parameters.destination = &destination;
    parameters.width = parameters.height = 1;
    NUVRA_RETURN_IF_ERROR(task.Execute(context, queue, &parameters));
    return queue.EnqueueReadImage(destination, true, origin, size, 0, 0, rgba);
}

Result<void> Run(host::Host& host, const char* module) {
    NUVRA_RETURN_IF_ERROR(host.AddProgram(g_program));
    NUVRA_RETURN_IF_ERROR(host.LoadModules(module));
    NUVRA_RETURN_IF_ERROR(host.Start());
    UChar rgba[4] = {255, 0, 128, 200};
    NUVRA_RETURN_IF_ERROR(InvertPixel(rgba));
    std::printf("%d %d %d %d\n", rgba[0], rgba[1], rgba[2], rgba[3]);
    return {};
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: invert_image MODULE\n", stderr);
        return 2;
    }
    // An error is an object of the module: it must be gone before the host unloads that.
    host::Host host;
    const Result<void> result = Run(host, argv[1]);
    return result.IsOk() ? 0 : Fail("invert_image", result.GetError());
}
