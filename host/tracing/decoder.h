#pragma once

#include <cstdarg>

#include "handles.h"
#include "signatures.h"
#include "values.h"

namespace nuvra::host {

/// Elements of an array that are kept; of what is longer, the number of the others.
inline constexpr UInt32 kLongestList = 64;

/// The values of one event.
struct Event {
    const Function* function = nullptr;  ///< null for one that is not known
    std::string_view code;
    const Values* arguments = nullptr;  ///< of an after event: the call's; null before it
};

/// What a decoded event says of its call beside the values.
struct Outcome {
    bool hasFailed = false;
    Handles::Object* created = nullptr;  ///< the object that the call made, as long as nothing releases it
};

/// Reads the values behind an event's code and adds them, in words and with their parameters' names, to
/// `values`. Of an unknown function or code, what a letter alone does not tell is shown raw. A letter that is
/// unknown ends the reading, since nobody can know how wide its value is; the rest of the code is shown
/// instead. What a query has written is read from where its arguments point, whatever the code has of it.
/// `arguments` is not advanced.
Outcome Decode(const Event& event, va_list arguments, Handles& handles, Values& values);

}  // namespace nuvra::host
