#pragma once

#include <string_view>
#include <vector>

#include "handles.h"

namespace nuvra::host {

/// What a value means beyond what its letter says.
enum class Meaning {
    NONE,
    HANDLE,        ///< of a 'P': an object, of the parameter's kind
    ERROR,         ///< of an 'i': an error code, the call's outcome
    ADDRESS,       ///< of a 'p': the call's outcome, null when it has failed
    NUMBER,        ///< of a 'p' that is none: an element of an array of sizes
    DEVICE_TYPE,   ///< of an 'N'
    IMAGE_FORMAT,  ///< of a 'p': what it points to
};

struct Parameter {
    std::string_view name;  ///< as the OpenCL headers have it
    Meaning meaning = Meaning::NONE;
    ObjectKind kind = ObjectKind::NONE;
};

/// The values behind one signature code of one function: a parameter for each, an array counting as one.
struct Signature {
    std::string_view code;
    std::vector<Parameter> parameters;
};

/// A traced function, or another event with values.
struct Function {
    std::string_view name;  ///< "clFinish"
    std::vector<Signature> signatures;
    char queryLetter = 0;  ///< of a query: that of its "param_name"

    /// Null for an unknown code.
    const Signature* Find(std::string_view code) const;
};

/// Null for an unknown name. Made once, never gone.
const Function* FindFunction(std::string_view name);

/// The name of an event without what all OpenCL functions' names begin with.
std::string_view GetFunctionName(std::string_view traceName);

}  // namespace nuvra::host
