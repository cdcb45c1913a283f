#pragma once

#include <string_view>
#include <vector>

#include "handles.h"
#include "nuvra/trace_signature.h"

namespace nuvra::host {

/// What a value means beyond what its letter says.
enum class Meaning {
    NONE,
    HANDLE,        ///< of a 'P': an object, of the parameter's kind
    ERROR,         ///< of an 'i': an error code, the call's outcome
    ADDRESS,       ///< of a 'p': the call's outcome, null when it has failed
    NUMBER,        ///< a 'p' that is a number: clCreateProgramWithSource's lengths are traced as pointers
    DEVICE_TYPE,   ///< of an 'N'
    IMAGE_FORMAT,  ///< of a 'p': what it points to
    LABEL,         ///< of a 'T': the program's name for an object that the call makes, or that it names
    QUESTION,      ///< of a query: what is asked for
    ROOM,          ///< of a query: the size of the memory for the answer
    ANSWER,        ///< of a query: where the answer is written
    WRITTEN,       ///< of a query: where the answer's size is written
};

struct Parameter {
    std::string_view name;  ///< as the OpenCL headers have it
    Meaning meaning = Meaning::NONE;
    ObjectKind kind = ObjectKind::NONE;
    char letter = 0;  ///< of its values
};

/// The values behind one signature code of one function: a parameter for each, an array counting as one.
struct Signature {
    TraceCode code;
    std::vector<Parameter> parameters;
};

/// A traced function, or another event with values.
struct Function {
    std::string_view name;  ///< "clFinish"
    CallEffect effect = CallEffect::NONE;
    std::vector<Signature> signatures;  ///< those of the arguments first

    /// Null for an unknown code.
    const Signature* Find(std::string_view code) const;
    /// The first parameter with the meaning and, of handles, the kind; null when there is none.
    const Parameter* Find(Meaning meaning, ObjectKind kind = ObjectKind::NONE) const;
};

/// Null for an unknown name. Made once and never destroyed.
const Function* FindFunction(std::string_view name);

/// The name of an event without what all OpenCL functions' names begin with.
std::string_view GetFunctionName(std::string_view traceName);

}  // namespace nuvra::host
