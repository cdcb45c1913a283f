#include "console/tracing_options.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "console/failure.h"
#include "nuvra/host/file_name.h"
#include "system/system.h"

namespace nuvra::app {

namespace {

namespace fs = std::filesystem;

constexpr const char* kGroup = "Watching the OpenCL calls";

struct FileOption {
    const char* name;
    fs::path host::TracingOptions::*file;
    const char* kind;
    bool (*isOlder)(const fs::path& file);
    const char* help;
};
constexpr FileOption kFiles[] = {
    {"--trace", &host::TracingOptions::traceFile, "trace", host::HoldsTrace,
     "Write a trace that Perfetto (ui.perfetto.dev) and chrome://tracing show; - is the standard\n"
     "output, for commands that print nothing there"},
    {"--log", &host::TracingOptions::logFile, "log", host::HoldsLog,
     "Write a line for each call; - is the standard error"},
};

struct FlagOption {
    const char* name;
    bool host::TracingOptions::*flag;
    const char* help;
};
constexpr FlagOption kFlags[] = {
    {"--call-stats", &host::TracingOptions::countsCalls,
     "Print how often each function was called, and its times"},
    {"--leak-check", &host::TracingOptions::keepsMakers,
     "Print the objects that were made and not released; the exit status is 1 when there are any"},
    {"--serialize", &host::TracingOptions::isSerialized,
     "Wait for the device after each call that gives it work, as part of the call's time"},
};

}  // namespace

void AddTracingOptions(CLI::App& app, Options& options) {
    for (const FileOption& option : kFiles) {
        fs::path& file = options.tracing.*option.file;
        app.add_option_function<std::string>(
               option.name, [&file](const std::string& name) { file = host::ToPath(name); }, option.help)
            ->type_name("FILE")
            ->group(kGroup);
    }
    for (const FlagOption& option : kFlags)
        app.add_flag(option.name, options.tracing.*option.flag, option.help)->group(kGroup);
}

void CheckTracingFiles(const Options& options, const std::vector<NamedFile>& files) {
    for (const FileOption& option : kFiles) {
        const fs::path& path = options.tracing.*option.file;
        std::error_code error;
        const fs::file_status status = fs::status(path, error);
        const bool isThere = fs::is_regular_file(status);
        // Pipes and terminals hold nothing that could be overwritten.
        if (path.empty() || path == "-" || (fs::exists(status) && !isThere)) continue;
        for (const NamedFile& file : files)
            if (file.option != option.name && IsSameFile(path, host::ToPath(file.name)))
                throw WrongArguments(std::string(option.name) + " and " + file.option +
                                     " name the same file, " + Quote(file.name));
        if (isThere && fs::file_size(path, error) > 0 && !option.isOlder(path))
            throw Failure(std::string(option.name) + " would overwrite " + Quote(host::ToText(path)) +
                          ", which is no " + option.kind);
    }
}

void StartTracing(Environment& environment) {
    const host::TracingOptions& options = environment.options.tracing;
    const bool isAsked =
        std::ranges::any_of(kFiles, [&](const FileOption& file) { return !(options.*file.file).empty(); }) ||
        std::ranges::any_of(kFlags, [&](const FlagOption& flag) { return options.*flag.flag; });
    if (!isAsked) return;
    environment.tracing = std::make_shared<host::Tracing>(options);
    RunWhenInterrupted([tracing = environment.tracing, isCounting = options.countsCalls] {
        tracing->Finish();
        if (isCounting) WriteError(tracing->GetCallTable());
    });
}

bool FinishTracing(Environment& environment) {
    if (environment.tracing == nullptr) return false;
    const host::Tracing& tracing = *environment.tracing;
    environment.tracing->Finish();
    if (environment.options.tracing.countsCalls) WriteError(tracing.GetCallTable());
    for (std::string& problem : tracing.GetProblems()) environment.notes.push_back(std::move(problem));
    if (!environment.options.tracing.keepsMakers) return false;
    const std::vector<std::string> leaks = tracing.GetLeaks();
    WriteError("OpenCL objects: " + std::to_string(tracing.CountCreated()) + " made, " +
               std::to_string(leaks.size()) + " not released\n");
    for (const std::string& leak : leaks) WriteError("  " + leak + "\n");
    return !leaks.empty();
}

}  // namespace nuvra::app
