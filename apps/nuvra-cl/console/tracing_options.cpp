#include "console/tracing_options.h"

#include "console/failure.h"
#include "nuvra/host/file_name.h"
#include "system/system.h"

namespace nuvra::app {

namespace {

constexpr const char* kGroup = "Watching the OpenCL calls";

}  // namespace

void AddTracingOptions(CLI::App& app, Options& options) {
    app.add_option(
           "--trace", options.traceFile,
           "Write a trace that Perfetto (ui.perfetto.dev) and chrome://tracing show; - is the standard\n"
           "output, for commands that print nothing there")
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

void CheckTracingFiles(const Options& options, const std::vector<NamedFile>& files) {
    namespace fs = std::filesystem;
    struct Record {
        const char* option;
        const std::string& name;
        const char* kind;
        bool (*isOlder)(const fs::path& file);
    };
    const Record records[] = {{"--trace", options.traceFile, "trace", host::HoldsTrace},
                              {"--log", options.logFile, "log", host::HoldsLog}};
    for (const auto& [option, name, kind, isOlder] : records) {
        const fs::path path = host::ToPath(name);
        std::error_code error;
        const fs::file_status status = fs::status(path, error);
        const bool isThere = fs::is_regular_file(status);
        // A pipe, a terminal and the like keep nothing that could be lost.
        if (name.empty() || name == "-" || (fs::exists(status) && !isThere)) continue;
        for (const NamedFile& file : files)
            if (file.option != option && IsSameFile(path, host::ToPath(file.name)))
                throw WrongArguments(std::string(option) + " and " + file.option + " name the same file, " +
                                     Quote(file.name));
        if (isThere && fs::file_size(path, error) > 0 && !isOlder(path))
            throw Failure(std::string(option) + " would overwrite " + Quote(name) + ", which is no " + kind);
    }
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
        if (isCounting) WriteError(tracing->GetCallTable());
    });
}

bool FinishTracing(Environment& environment) {
    if (environment.tracing == nullptr) return false;
    const host::Tracing& tracing = *environment.tracing;
    environment.tracing->Finish();
    if (environment.options.countsCalls) WriteError(tracing.GetCallTable());
    for (std::string& problem : tracing.GetProblems()) environment.notes.push_back(std::move(problem));
    if (!environment.options.checksLeaks) return false;
    const std::vector<std::string> leaks = tracing.GetLeaks();
    WriteError("OpenCL objects: " + std::to_string(tracing.CountCreated()) + " made, " +
               std::to_string(leaks.size()) + " not released\n");
    for (const std::string& leak : leaks) WriteError("  " + leak + "\n");
    return !leaks.empty();
}

}  // namespace nuvra::app
