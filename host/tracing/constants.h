#pragma once

#include <string>
#include <string_view>

#include "nuvra/types.h"

/// The OpenCL headers' constants by name, without the queries (see queries.h). The letter says which
/// constants a number may be: one of the signature codes, or one of `kAnswerLetters`.
namespace nuvra::host {

/// The name of the constant, empty for any other number.
std::string_view FindConstant(char letter, UInt64 value);

/// Appends the names of the bits with "|" between them, and what has no name in hexadecimal: "0" for no bits,
/// "CL_MEM_READ_WRITE|0x10000".
void AppendBits(std::string& text, char letter, UInt64 bits);

/// Appends "0x" and the hexadecimal digits.
void AppendHexadecimal(std::string& text, UInt64 number);

}  // namespace nuvra::host
