#pragma once

#include <CL/cl.h>
#include <CL/cl_gl.h>

#include "nuvra/result.h"

namespace nuvra {

/// The OpenCL runtime's functions, found by name at start-up. Nothing of OpenCL is linked.
struct OpenCLInterface {
#define OPENCL_FUNCTION(presence, name, effect, before, after) decltype(&::name) name = nullptr;
#include "nuvra/opencl_functions.def"
};

/// Written by `LoadOpenCLLibrary`, only read afterwards.
extern constinit OpenCLInterface g_openCL;

/// Whether every required function was found. Stays set after `FreeOpenCLLibrary`.
extern constinit bool g_isOpenCLLoaded;

/// Opens the system's OpenCL runtime, fills the table and connects the tracer. Fails with the host's error
/// when the library or a required function is missing; the table must then not be used. Once it has
/// succeeded, further calls do nothing.
Result<void> LoadOpenCLLibrary();

/// Drops the tracer and closes the runtime; no OpenCL function may be called afterwards.
void FreeOpenCLLibrary();

}  // namespace nuvra
