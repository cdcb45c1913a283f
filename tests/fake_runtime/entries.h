#pragma once

// The prototypes of every exported function, exported. A build that defines NAME=hidden_NAME lacks NAME.
#pragma GCC visibility push(default)
#include <CL/cl.h>
#include <CL/cl_gl.h>
#pragma GCC visibility pop
