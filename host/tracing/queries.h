#pragma once

#include "signatures.h"

/// The queries of platforms, devices, programs and kernels.
namespace nuvra::host {

struct Query {
    char letter;  ///< of the names of its kind, as in the signature codes
    UInt32 value;
    std::string_view name;  ///< "CL_DEVICE_TYPE"
    /// The answer's letter, as in signature codes or `kAnswerLetters`, after an "a" for an array of those.
    std::string_view code;
    Meaning meaning = Meaning::NONE;
    ObjectKind kind = ObjectKind::NONE;
};

/// Null for an unknown query.
const Query* FindQuery(char letter, UInt32 value);

}  // namespace nuvra::host
