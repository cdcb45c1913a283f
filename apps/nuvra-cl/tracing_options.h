#pragma once

#include <CLI/CLI.hpp>

#include "environment.h"

/// The options that watch the OpenCL calls of a command.
namespace nuvra::app {

void AddTracingOptions(CLI::App& app, Options& options);

/// Prepares what the options ask for; without any, nothing.
void StartTracing(Environment& environment);

/// Completes the files and prints the reports on standard error; what could not be written goes to the
/// environment's notes. The result tells whether leaks were asked for and found.
bool FinishTracing(Environment& environment);

}  // namespace nuvra::app
