#pragma once

#include <exception>
#include <new>

#include "nuvra/result.h"

namespace nuvra::host {

/// Runs a function that returns a `Result` and may throw. Exceptions become errors: none may cross an
/// operation.
template <class Function>
auto WithoutExceptions(Function&& function) noexcept -> decltype(function()) {
    try {
        return function();
    } catch (const std::bad_alloc&) {
        return OutOfMemoryError();
    } catch (const std::exception& exception) {
        return NewError<UnknownErrorObject>(exception.what());
    }
}

}  // namespace nuvra::host
