#pragma once

#include <initializer_list>

#include "nuvra/string.h"

namespace nuvra {

/// Text output for people, and the formatting behind it: each "@" of a format stands for the next argument;
/// arguments without a "@" are dropped, and a "@" without an argument stays. A null format is the empty one.
struct Diagnostic {
    static constexpr Id kId{"nuvra.Diagnostic#1"};
    static constexpr const char* kHeader = "nuvra/diagnostic.h";
    static constexpr bool kOptional = false;

    struct Operations {
        /// Fails with the out-of-memory error.
        Result<String> (*Format)(const char* format, const std::string_view* arguments, Int count);
        /// Writes one message; the host decides where it goes.
        void (*Write)(const char* format, const std::string_view* arguments, Int count);
    };

    static Result<String> Format(const char* format, std::initializer_list<std::string_view> arguments) {
        return InvokeStatic<Diagnostic, &Operations::Format>(format, arguments.begin(),
                                                             static_cast<Int>(arguments.size()));
    }
    static void Write(const char* format, std::initializer_list<std::string_view> arguments) {
        InvokeStatic<Diagnostic, &Operations::Write>(format, arguments.begin(),
                                                     static_cast<Int>(arguments.size()));
    }
};

}  // namespace nuvra
