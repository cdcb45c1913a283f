#pragma once

#include "module_fixture.h"
#include "nuvra/opengl_cl_trace.h"

namespace nuvra::test {

/// What the tracer of the tests saw: events as "> name code values" before and "< name code values" after a
/// call, values as the fake runtime's texts, comments as "# text".
struct Trace {
    bool isOffered = false;  ///< whether the tracing service has a tracer
    bool isActive = true;    ///< whether it passes its activation check
    bool isCapturing = false;
    Texts events{};
    std::vector<UInt64> threads{};
};
extern Trace g_trace;

}  // namespace nuvra::test
