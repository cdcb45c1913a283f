#pragma once

#include <string>
#include <string_view>

#include "nuvra/types.h"

/// The OpenCL headers' constants by name, but for queries (see queries.h). Which constants a number may be is
/// told by the letter of the signature code (see opengl_cl_trace.h), or by a letter of this tracer's own: r
/// key of a property list; o, t an image format's channel order and data type; g type of a cache; l type of
/// local memory; B, k a program's build status and binary type. Bits likewise: c floating-point capabilities,
/// e execution capabilities, d affinity domains.
namespace nuvra::host {

/// The name of the constant, empty for any other number.
std::string_view FindConstant(char letter, UInt64 value);

/// Appends the names of the bits with "|" between them, and what has no name in hexadecimal: "0" for no bits,
/// "CL_MEM_READ_WRITE|0x10000".
void AppendBits(std::string& text, char letter, UInt64 bits);

/// Appends "0x" and the hexadecimal digits.
void AppendHexadecimal(std::string& text, UInt64 number);

}  // namespace nuvra::host
