// Inverts a texture on a device: within OpenGL's own memory where a device can share that, or else on a copy.
//
//     gl_sharing MODULE [--once]    with --once, ends when everything is drawn

#include <cstdio>
#include <exception>
#include <string_view>

#include "example.h"
#include "gl_window.h"
#include "nuvra/host/host.h"
#include "nuvra/open_cl.h"

namespace {

using namespace nuvra;

constexpr int kSide = 256;  // pixels of the texture

// Through this the host fills the interfaces that the program uses. It also supplies
// the OpenGL context object.
constinit host::Program g_program{
    "net.nuvra.example.gl_sharing", "gl_sharing", {"net.nuvra.core.framework", "net.nuvra.opencl.framework"}};
constinit InterfaceRecord g_openGLContext = ImplementInterface<OpenGLContextInterface>(
    "net.nuvra.example.gl_context", "OpenGLContextImpl", kOpenGLContextOperations);
SourceUnit g_unit{g_program, "gl_sharing", {&g_openGLContext}};

struct Textures {
    UInt32 source;
    UInt32 destination;
};

Rgba MakePattern() {
    Rgba pixels;
    for (int y = 0; y < kSide; y++)
        for (int x = 0; x < kSide; x++)
            for (const int value : {x, y, (x ^ y) & 0xE0, 255}) pixels.push_back(static_cast<UChar>(value));
    return pixels;
}

Result<void> Invert(const OpenCLContextRef& context, const OpenCLCommandQueueRef& queue,
                    const OpenCLMemoryObjectRef& source, const OpenCLMemoryObjectRef& destination) {
    NUVRA_ASSIGN_OR_RETURN(const String name, String::FromCText("image.invert"));
    NUVRA_ASSIGN_OR_RETURN(const OpenCLTaskRef task, context.GetTask(name));
    InvertImageParameters parameters;
    parameters.source = &source;
    parameters.destination = &destination;
    parameters.width = parameters.height = kSide;
    return task.Execute(context, queue, &parameters);
}

/// The textures become images themselves; OpenGL has to be done with them meanwhile.
Result<void> InvertShared(GLWindow& window, const OpenCLContextRef& context, const Textures& textures) {
    constexpr UInt32 kTexture2D = 0x0DE1;
    NUVRA_ASSIGN_OR_RETURN(const OpenCLCommandQueueRef queue, context.CreateCommandQueue());
    OpenCLMemoryObjectRef images[2];
    NUVRA_ASSIGN_OR_RETURN(images[0], context.CreateFromGLTexture2D(OpenCLMemoryFlags::READ_ONLY, kTexture2D,
                                                                    0, textures.source));
    NUVRA_ASSIGN_OR_RETURN(images[1], context.CreateFromGLTexture2D(OpenCLMemoryFlags::WRITE_ONLY, kTexture2D,
                                                                    0, textures.destination));
    window.Finish();
    NUVRA_RETURN_IF_ERROR(queue.EnqueueAcquireGLObjects(2, images));
    const Result<void> inverted = Invert(context, queue, images[0], images[1]);
    NUVRA_RETURN_IF_ERROR(queue.EnqueueReleaseGLObjects(2, images));
    NUVRA_RETURN_IF_ERROR(queue.Finish());
    return inverted;
}

/// The same through images of their own, to which the pixels are copied and from which they come back.
Result<void> InvertCopy(GLWindow& window, const Textures& textures) {
    NUVRA_ASSIGN_OR_RETURN(const OpenCLDeviceRef device, FindFirstDevice());
    NUVRA_ASSIGN_OR_RETURN(const OpenCLContextRef context, CreateContext(device));
    NUVRA_ASSIGN_OR_RETURN(const OpenCLCommandQueueRef queue, context.CreateCommandQueue());
    const OpenCLImageFormat format{OpenCLChannelOrder::RGBA, OpenCLChannelDataType::UNORM_INT8};
    NUVRA_ASSIGN_OR_RETURN(const auto source,
                           context.CreateImage2D(OpenCLMemoryFlags::READ_ONLY, format, kSide, kSide));
    NUVRA_ASSIGN_OR_RETURN(const auto destination,
                           context.CreateImage2D(OpenCLMemoryFlags::WRITE_ONLY, format, kSide, kSide));
    const size_t origin[3] = {0, 0, 0};
    const size_t size[3] = {kSide, kSide, 1};
    Rgba pixels = window.ReadTexture(textures.source, kSide);
    NUVRA_RETURN_IF_ERROR(queue.EnqueueWriteImage(source, true, origin, size, 0, 0, pixels.data()));
    NUVRA_RETURN_IF_ERROR(Invert(context, queue, source, destination));
    NUVRA_RETURN_IF_ERROR(queue.EnqueueReadImage(destination, true, origin, size, 0, 0, pixels.data()));
    window.WriteTexture(textures.destination, kSide, pixels);
    return {};
}

/// How many pixels of the window's right half are the inverse of those in its left half.
int CountInverted(const Rgba& drawn) {
    int count = 0;
    for (size_t i = 0; i < drawn.size(); i += 4) {
        if (i / 4 % (2 * kSide) >= kSide) continue;
        const UChar* left = &drawn[i];
        const UChar* right = left + size_t{4} * kSide;
        bool isInverse = true;
        for (int channel = 0; channel < 3; channel++)
            isInverse = isInverse && left[channel] + right[channel] == 255;
        count += isInverse ? 1 : 0;
    }
    return count;
}

Result<void> Run(host::Host& host, GLWindow& window, const char* module) {
    NUVRA_RETURN_IF_ERROR(host.AddProgram(g_program));
    NUVRA_RETURN_IF_ERROR(host.LoadModules(module));
    NUVRA_RETURN_IF_ERROR(host.Start());
    const Rgba pattern = MakePattern();
    const Textures textures{window.MakeTexture(kSide, pattern),
                            window.MakeTexture(kSide, Rgba(pattern.size()))};
    const OpenGLContextRef glContext = window.MakeContextObject();
    const Result<OpenCLContextRef> shared = OpenCL::CreateGLSharedContext(glContext, nullptr);
    if (shared.IsOk()) {
        std::puts("The textures are shared with the device.");
        NUVRA_RETURN_IF_ERROR(InvertShared(window, shared.GetValue(), textures));
    } else {
        std::printf("The textures cannot be shared (error %d), so they are copied.\n",
                    OpenCLErrorRef(shared.GetError()).GetErrorCode());
        NUVRA_RETURN_IF_ERROR(InvertCopy(window, textures));
    }
    const Rgba drawn = window.Draw(textures.source, textures.destination);
    std::printf("%d of %d pixels are inverted.\n", CountInverted(drawn), kSide * kSide);
    return {};
}

}  // namespace

int main(int argc, char** argv) {
    const bool isOnce = argc == 3 && std::string_view(argv[2]) == "--once";
    if (argc != 2 && !isOnce) {
        std::fputs("usage: gl_sharing MODULE [--once]\n", stderr);
        return 2;
    }
    try {
        GLWindow window(L"Inverted by OpenCL", 2 * kSide, kSide);
        // An error is an object of the module: it must be gone before the host unloads that.
        host::Host host;
        const Result<void> result = Run(host, window, argv[1]);
        if (result.IsOk()) {
            std::fflush(stdout);
            if (!isOnce) window.WaitUntilClosed();
            return 0;
        }
        return Fail("gl_sharing", result.GetError());
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "gl_sharing: %s\n", exception.what());
    }
    return 1;
}
