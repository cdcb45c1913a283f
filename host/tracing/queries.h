#pragma once

#include "signatures.h"

/// What can be asked of platforms, devices, programs and kernels.
namespace nuvra::host {

struct Query {
    char letter;  ///< of the names of its kind, as in the signature codes
    UInt32 value;
    std::string_view name;  ///< "CL_DEVICE_TYPE"
    /// The answer's letter, behind an "a" for an array of those, "T" for a text. The letters are those of
    /// signature codes and, for constants, of constants.h.
    std::string_view code;
    Meaning meaning = Meaning::NONE;
    ObjectKind kind = ObjectKind::NONE;
};

/// Null for an unknown one.
const Query* FindQuery(char letter, UInt32 value);

}  // namespace nuvra::host
