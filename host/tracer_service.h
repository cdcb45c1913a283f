#pragma once

#include "nuvra/opengl_cl_trace.h"

/// The operation tables of the tracing service and of its tracer.
namespace nuvra::host {

extern const OpenGLCLTrace::Operations kTraceOperations;
extern const OpenGLCLVKTracerInterface::Operations kTracerOperations;

}  // namespace nuvra::host
