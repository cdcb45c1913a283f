#pragma once

#include <cstdarg>

#include "handles.h"
#include "signatures.h"
#include "values.h"

namespace nuvra::host {

/// The most elements of an array that are shown; of the others only their number is.
inline constexpr UInt32 kLongestList = 64;

/// The values of one event.
struct Event {
    const Function* function = nullptr;  ///< null for an unknown one
    std::string_view code;
    const Values* arguments = nullptr;  ///< of an after event: the call's; null before it
};

/// What a decoded event tells beyond the values.
struct Outcome {
    bool hasFailed = false;
    Handles::Object* created = nullptr;  ///< the object that the call made; valid until its release
};

/// Reads the values behind an event's code and adds them, in words and with their parameters' names, to
/// `values`. For an unknown function or code, parameters are called `value` and handles are plain addresses.
/// An unknown letter ends the reading, as the size of its value is unknown; the rest of the code is shown
/// instead. The answer of a query is read where its arguments point, as the code has only a part of it.
/// `arguments` is not advanced.
Outcome Decode(const Event& event, va_list arguments, Handles& handles, Values& values);

}  // namespace nuvra::host
