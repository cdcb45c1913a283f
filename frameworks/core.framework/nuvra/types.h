#pragma once

#include <cstddef>
#include <cstdint>

/// The scalar types that cross the contract between host and modules.
namespace nuvra {

using Bool = bool;
using Char = std::int8_t;
using UChar = std::uint8_t;
using Int16 = std::int16_t;
using UInt16 = std::uint16_t;
using Int32 = std::int32_t;
using UInt32 = std::uint32_t;
using Int64 = std::int64_t;
using UInt64 = std::uint64_t;
using Int = std::int64_t;  ///< counts and byte sizes
using Float32 = float;
using Float64 = double;

/// Three 32-bit floats; a kernel's `float3` and `float4` have sixteen bytes, this has twelve.
struct Vector32 {
    Float32 x = 0;
    Float32 y = 0;
    Float32 z = 0;
};

/// A place in the sources. As a default argument, `Here()` is the caller's.
struct SourceLocation {
    const char* file = "";
    Int32 line = 0;

    static constexpr SourceLocation Here(const char* file = __builtin_FILE(), Int32 line = __builtin_LINE()) {
        return {file, line};
    }
};

}  // namespace nuvra
