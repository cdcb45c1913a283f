#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "console/words.h"
#include "nuvra/result.h"

namespace nuvra::app {

/// Work that failed; the text is the line to print. The program ends with status 1.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Arguments that contradict each other; the program ends with status 2.
class WrongArguments : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Writes on standard error; a failed write is ignored.
void WriteError(std::string_view text);

/// Prints "nuvra-cl: MESSAGE" on standard error, as one line of at most 500 bytes: a longer one loses its
/// middle.
void PrintError(const std::string& message);

/// The code of an error by name and number, "CL_OUT_OF_RESOURCES (-5)" for example, and the text of an error
/// that has no code.
std::string DescribeError(const ErrorRef& error);

/// The OpenCL code of an error; 0 when it is of another class.
Int32 GetCode(const ErrorRef& error);

/// The result's value; on an error throws the failure "OPERATION: ERROR".
template <class T>
T Check(Result<T> result, const std::string& operation) {
    if (!result.IsOk()) throw Failure(operation + ": " + DescribeError(result.GetError()));
    if constexpr (!std::is_void_v<T>) return std::move(result).GetValue();
}

}  // namespace nuvra::app
