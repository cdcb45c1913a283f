#pragma once

#include "nuvra/module.h"

namespace nuvra {

/// The library's modules; each source file registers its entities with one of them.
extern constinit ModuleRecord g_openCLModule;
extern constinit ModuleRecord g_openCLFramework;
extern constinit ModuleRecord g_privateOpenGLFramework;
extern constinit ModuleRecord g_privateOpenCLFramework;
extern constinit ModuleRecord g_privateTraceFramework;

}  // namespace nuvra
