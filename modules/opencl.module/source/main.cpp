#include "module_records.h"
#include "nuvra/diagnostic.h"
#include "nuvra/open_cl.h"
#include "nuvra/opencl_interface.h"
#include "nuvra/opengl_cl_trace.h"

NUVRA_EXPORT_MODULES;

namespace nuvra {

namespace {

constinit const Id kOpenCLDependencies[] = {
    "net.nuvra.core.framework",
    "net.nuvra.opencl.framework",
    "net.nuvra.private_opengl.framework",
    "net.nuvra.private_opencl.framework",
};
constinit const Id kFrameworkDependencies[] = {"net.nuvra.core.framework"};
constinit const Id kPrivateOpenGLDependencies[] = {
    "net.nuvra.core.framework",
    "net.nuvra.private_oglclvk_trace.framework",
};
constinit const Id kPrivateOpenCLDependencies[] = {
    "net.nuvra.core.framework",
    "net.nuvra.private_opengl.framework",
    "net.nuvra.private_oglclvk_trace.framework",
};

}  // namespace

constinit ModuleRecord g_openCLModule{"net.nuvra.opencl", 0, kOpenCLDependencies};
constinit ModuleRecord g_openCLFramework{"net.nuvra.opencl.framework", kModuleFramework,
                                         kFrameworkDependencies};
constinit ModuleRecord g_privateOpenGLFramework{"net.nuvra.private_opengl.framework", kModuleFramework,
                                                kPrivateOpenGLDependencies};
constinit ModuleRecord g_privateOpenCLFramework{"net.nuvra.private_opencl.framework", kModuleFramework,
                                                kPrivateOpenCLDependencies};
constinit ModuleRecord g_privateTraceFramework{"net.nuvra.private_oglclvk_trace.framework", kModuleFramework,
                                               kFrameworkDependencies};

namespace {

/// Without an OpenCL runtime the module still starts: whoever asks gets OPENCL_UNINITIALIZED.
Result<void> Initialize() {
    const Result<void> loaded = LoadOpenCLLibrary();
    if (!loaded.IsOk()) Diagnostic::Write("Warning: @", {loaded.GetError().GetMessage().GetView()});
    return {};
}

constinit InitializerRecord g_initializer{
    {{RecordKind::INITIALIZER, "net.nuvra.opencl"}, nullptr}, Initialize, FreeOpenCLLibrary};

constinit InterfaceRecord g_declarations[] = {
    DeclareInterface<OpenCL>(),
    DeclareInterface<OpenCLCommandQueueInterface>(),
    DeclareInterface<OpenCLContextInterface>(),
    DeclareInterface<OpenCLDeviceInterface>(),
    DeclareInterface<OpenCLEventInterface>(),
    DeclareInterface<OpenCLKernelInterface>(),
    DeclareInterface<OpenCLMemoryObjectInterface>(),
    DeclareInterface<OpenCLPlatformInterface>(),
    DeclareInterface<OpenCLProgramInterface>(),
};
constinit InterfaceRecord g_traceDeclaration = DeclareInterface<OpenGLCLTrace>();

const ModuleRegistration g_modules{
    g_privateModules,
    g_openCLModule,
    {&g_openCLFramework, &g_privateOpenGLFramework, &g_privateOpenCLFramework, &g_privateTraceFramework},
    "main",
    {&g_initializer}};
SourceUnit g_openCLUnit{g_openCLFramework, "open_cl", g_declarations};
SourceUnit g_traceUnit{g_privateTraceFramework, "opengl_cl_trace", {&g_traceDeclaration}};

}  // namespace

}  // namespace nuvra
