#include "tracing_options.h"

#include <cstdio>

#include "nuvra/file_name.h"
#include "system.h"

namespace nuvra::app {

namespace {

constexpr const char* kGroup = "Watching the OpenCL calls";

void PrintCallTable(const host::Tracing& tracing) {
    std::fprintf(stderr, "%s", tracing.GetCallTable().c_str());
}

}  // namespace

void AddTracingOptions(CLI::App& app, Options& options) {
    app.add_option("--trace", options.traceFile,
                   "Write a trace that Perfetto (ui.perfetto.dev) and chrome://tracing show")
        ->type_name("FILE")
        ->group(kGroup);
    app.add_option("--log", options.logFile, "Write a line for each call; - is the standard error")
        ->type_name("FILE")
        ->group(kGroup);
    app.add_flag("--call-stats", options.countsCalls,
                 "Print how often each function was called, and its times")
        ->group(kGroup);
    app.add_flag("--leak-check", options.checksLeaks,
                 "Print the objects that were made and not released; the exit status is 1 when there are any")
        ->group(kGroup);
    app.add_flag("--serialize", options.isSerialized,
                 "Wait for the device after each call that gives it work, as part of the call's time")
        ->group(kGroup);
}

void StartTracing(Environment& environment) {
    const Options& options = environment.options;
    if (options.traceFile.empty() && options.logFile.empty() && !options.countsCalls &&
        !options.checksLeaks && !options.isSerialized)
        return;
    environment.tracing = std::make_shared<host::Tracing>(
        host::TracingOptions{host::ToPath(options.traceFile), host::ToPath(options.logFile),
                             options.countsCalls, options.checksLeaks, options.isSerialized});
    RunWhenInterrupted([tracing = environment.tracing, isCounting = options.countsCalls] {
        tracing->Finish();
        if (isCounting) PrintCallTable(*tracing);
    });
}

bool FinishTracing(Environment& environment) {
    if (environment.tracing == nullptr) return false;
    const host::Tracing& tracing = *environment.tracing;
    environment.tracing->Finish();
    if (environment.options.countsCalls) PrintCallTable(tracing);
    for (std::string& problem : tracing.GetProblems()) environment.notes.push_back(std::move(problem));
    if (!environment.options.checksLeaks) return false;
    const std::vector<std::string> leaks = tracing.GetLeaks();
    std::fprintf(stderr, "OpenCL objects: %lld made, %zu not released\n",
                 static_cast<long long>(tracing.CountCreated()), leaks.size());
    for (const std::string& leak : leaks) std::fprintf(stderr, "  %s\n", leak.c_str());
    return !leaks.empty();
}

}  // namespace nuvra::app
