#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "nuvra/host/tracing.h"

namespace nuvra::app {

/// The options that every command takes.
struct Options {
    std::string device;   ///< a number or a part of a name; empty for the default
    std::string runtime;  ///< the file to use as OpenCL runtime; empty for the system's
    std::string module;   ///< the module's file; empty for the one beside the program
    bool isQuiet = false;
    host::TracingOptions tracing{};
};

/// What a command is run with.
struct Environment {
    Options options;
    std::FILE* terminal = nullptr;           ///< for progress bars; null without a terminal
    std::shared_ptr<host::Tracing> tracing;  ///< null when no tracer is on
    std::vector<std::string> diagnostics{};  ///< of host and modules, shown after the command
    std::vector<std::string> notes{};        ///< about results, shown after the command too
};

}  // namespace nuvra::app
