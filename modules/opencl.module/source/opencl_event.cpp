#include "opencl_event.h"

#include "module_records.h"

namespace nuvra {

namespace {

constexpr OpenCLEventInterface::Operations kOperations{.Destroy = DeleteObject<OpenCLEventImpl>};
constinit InterfaceRecord g_implementation =
    ImplementInterface<OpenCLEventInterface>("nuvra.OpenCLEventInterface", "OpenCLEventImpl", kOperations);
SourceUnit g_unit{g_openCLModule, "opencl_event", {&g_implementation}};

}  // namespace

}  // namespace nuvra
