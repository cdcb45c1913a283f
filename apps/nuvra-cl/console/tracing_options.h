#pragma once

#include "console/environment.h"
#include "console/named_files.h"

/// The options that trace the OpenCL calls of a command.
namespace CLI {
class App;
}

namespace nuvra::app {

void AddTracingOptions(CLI::App& app, Options& options);

/// Throws where a trace or a log would take the place of something else: `WrongArguments` where it is one of
/// the run's `files`, which may have the options' own among them, and `Failure` where it is a file that is
/// neither empty nor an older trace or log.
void CheckTracingFiles(const Options& options, const std::vector<NamedFile>& files);

/// Starts the tracers that the options ask for; without any, `environment.tracing` stays null.
void StartTracing(Environment& environment);

/// Completes the files and prints the reports on standard error; what could not be written goes to the
/// environment's notes. The result tells whether leaks were asked for and found.
bool FinishTracing(Environment& environment);

}  // namespace nuvra::app
