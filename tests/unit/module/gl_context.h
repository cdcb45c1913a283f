#pragma once

#include "nuvra/opengl_context.h"

namespace nuvra::test {

/// A rendering context as the module sees it: two handles, which are the numbers 17 and 34.
OpenGLContextRef MakeGLContext();

}  // namespace nuvra::test
