#pragma once

#include "nuvra/error.h"

namespace nuvra {

/// A value or an error; an empty error means success. After a failure the value is default-constructed.
template <class T>
class [[nodiscard]] Result {
public:
    Result(T value) : _value(std::move(value)) {}         // NOLINT(google-explicit-constructor)
    Result(ErrorRef error) : _error(std::move(error)) {}  // NOLINT(google-explicit-constructor)

    bool IsOk() const { return !_error; }
    const ErrorRef& GetError() const { return _error; }
    const T& GetValue() const& { return _value; }
    T& GetValue() & { return _value; }
    T GetValue() && { return std::move(_value); }

private:
    T _value{};
    ErrorRef _error;
};

template <>
class [[nodiscard]] Result<void> {
public:
    Result() = default;
    Result(ErrorRef error) : _error(std::move(error)) {}  // NOLINT(google-explicit-constructor)

    bool IsOk() const { return !_error; }
    const ErrorRef& GetError() const { return _error; }

private:
    ErrorRef _error;
};

template <class T>
struct EmptyReference<Result<T>> {
    static Result<T> Answer() { return NullPointerError(); }
};

}  // namespace nuvra

/// Returns the error of a `Result` from the enclosing function, if there is one.
#define NUVRA_RETURN_IF_ERROR(expression)                                             \
    do {                                                                              \
        if (const auto& nuvraResult = (expression); !nuvraResult.IsOk()) [[unlikely]] \
            return nuvraResult.GetError();                                            \
    } while (false)

/// Declares or assigns `target` from a `Result`'s value, or returns its error from the enclosing function.
#define NUVRA_ASSIGN_OR_RETURN(target, expression) \
    NUVRA_ASSIGN_OR_RETURN_(NUVRA_CONCAT_(nuvraResult, __LINE__), target, expression)
#define NUVRA_ASSIGN_OR_RETURN_(result, target, expression) \
    auto result = (expression);                             \
    if (!result.IsOk()) [[unlikely]]                        \
        return result.GetError();                           \
    target = std::move(result).GetValue()
#define NUVRA_CONCAT_(a, b) NUVRA_CONCAT2_(a, b)
#define NUVRA_CONCAT2_(a, b) a##b
