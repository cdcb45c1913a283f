#pragma once

#include <CL/cl.h>

#include "nuvra/open_cl_error.h"

namespace nuvra {

/// A new error with a code of the OpenCL headers or one of the module's own, located at the caller.
ErrorRef OpenCLError(Int32 code, SourceLocation location = SourceLocation::Here());

inline ErrorRef OpenCLError(OpenCLErrorCode code, SourceLocation location = SourceLocation::Here()) {
    return OpenCLError(static_cast<Int32>(code), location);
}

/// Success for CL_SUCCESS, an error with the code for any other.
inline Result<void> CheckCode(cl_int code, SourceLocation location = SourceLocation::Here()) {
    if (code != CL_SUCCESS) [[unlikely]]
        return OpenCLError(code, location);
    return {};
}

/// A larger number of platforms, devices, formats or dimensions is taken for garbage.
inline constexpr UInt32 kMostListed = 65536;

/// UNSPECIFIED for garbage, before anything is allocated for it.
inline Result<void> CheckCount(cl_uint count, SourceLocation location = SourceLocation::Here()) {
    if (count > kMostListed) return OpenCLError(OpenCLErrorCode::UNSPECIFIED, location);
    return {};
}

}  // namespace nuvra
