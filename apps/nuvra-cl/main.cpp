#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <map>
#include <new>
#include <sstream>

#include "console/command.h"
#include "console/failure.h"
#include "console/tracing_options.h"
#include "console/unknown_word.h"
#include "system/system.h"

namespace nuvra::app {

namespace {

constexpr int kFailed = 1;
constexpr int kWrongArguments = 2;

void AddCommonOptions(CLI::App& app, Options& options) {
    app.add_option("--device", options.device,
                   "The device to work on: its number in the list of devices or a part of its name\n"
                   "(the first GPU, or else the first device)")
        ->type_name("N|TEXT")
        ->check(CLI::Validator(
            [](std::string& text) { return std::string(text.empty() ? "it is empty" : ""); }, ""));
    app.add_option("--runtime", options.runtime, "The library to use as OpenCL runtime (the system's)")
        ->type_name("FILE")
        ->envname("NUVRA_OPENCL_RUNTIME");
    app.add_option("--module", options.module, "The OpenCL module (the one that came with this program)")
        ->type_name("FILE");
    app.add_flag("--quiet", options.isQuiet, "Show neither progress nor warnings");
    AddTracingOptions(app, options);
    app.set_version_flag("--version", "nuvra-cl " NUVRA_VERSION);
}

void CompleteHelp(CLI::App& app, const Command& command, const char* examples) {
    // Their names say what they are.
    for (CLI::Option* option : app.get_options())
        if (option->get_positional()) option->type_name("");
    std::string footer = app.get_footer() + (app.get_footer().empty() ? "" : "\n\n") + "It takes " +
                         (command.UsesDevice() ? "--device, " : "") +
                         "--runtime, --module, --quiet and the options that watch the OpenCL calls as well:\n"
                         "see nuvra-cl --help.\n\nExamples:";
    std::istringstream lines(examples);
    for (std::string line; std::getline(lines, line);) footer += "\n  nuvra-cl " + line;
    app.footer(footer);
}

/// What is wrong with common options that mean nothing to the command or get in its way; empty when nothing
/// is.
std::string DescribeMisuse(const Command& command, const std::string& name, const Options& options) {
    if (!options.device.empty() && !command.UsesDevice())
        return name + " works without a device: --device means nothing to it";
    if (options.tracing.traceFile == "-" && command.PrintsResult())
        return "--trace - goes to the standard output, where " + name + " prints its result";
    return {};
}

int Report(const std::string& message, int status) {
    PrintError(message);
    return status;
}

int ReportWrongArguments(const std::string& message, const std::string& command) {
    const std::string help = "nuvra-cl" + (command.empty() ? "" : " " + command) + " --help";
    return Report(FirstLine(message, "wrong arguments") + " (see " + help + ")", kWrongArguments);
}

/// A full disk or a closed pipe behind standard output shows only when it is flushed.
void FinishStandardOutput() {
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw Failure("cannot write the standard output: " + DescribeSystemError(errno));
}

/// The help or the version, whichever was asked for.
int ShowHelp(const CLI::App& app, const CLI::Success& success) {
    try {
        app.exit(success);
        FinishStandardOutput();
        return 0;
    } catch (const Failure& failure) {
        return Report(failure.what(), kFailed);
    }
}

int RunCommand(Command& command, const CLI::App& arguments, Environment& environment) {
    try {
        std::vector<NamedFile> files = ListNamedFiles(arguments);
        for (const std::string& name : command.ListOtherFiles()) files.push_back({"the list", name});
        CheckTracingFiles(environment.options, files);
        StartTracing(environment);
        command.Run(environment);
        FinishStandardOutput();
        return 0;
    } catch (const Failure& failure) {
        return Report(failure.what(), kFailed);
    } catch (const WrongArguments& error) {
        return ReportWrongArguments(error.what(), arguments.get_name());
    } catch (const std::bad_alloc&) {
        return Report("out of memory", kFailed);
    } catch (const std::exception& error) {
        return Report(FirstLine(error.what(), "unknown failure"), kFailed);
    }
}

/// A failing command's messages, such as build logs, explain its error; a succeeding one's are warnings.
void ShowMessages(const Environment& environment, int status) {
    if (environment.options.isQuiet && status == 0) return;
    for (const std::string& message : environment.diagnostics) WriteError(message + "\n");
    for (const std::string& note : environment.notes) PrintError(note);
}

/// Runs a command whose arguments have been read, with what surrounds it.
int RunWatched(Command& command, const CLI::App& arguments, Environment& environment) {
    if (!environment.options.isQuiet) environment.terminal = OpenTerminal();
    int status = RunCommand(command, arguments, environment);
    if (FinishTracing(environment) && status == 0) status = kFailed;
    ShowMessages(environment, status);
    if (environment.terminal != nullptr) std::fclose(environment.terminal);
    return status;
}

int Main(int argc, char** argv) {
    Environment environment;
    CLI::App app("Runs OpenCL tasks on pictures and files.", "nuvra-cl");
    app.require_subcommand(0, 1)->fallthrough()->allow_windows_style_options(false);
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    AddCommonOptions(app, environment.options);
    std::map<std::string, CommandPtr> commands;
    for (const CommandEntry& entry : kCommands) {
        Command& command = *(commands[entry.name] = entry.make());
        CLI::App* parser = app.add_subcommand(entry.name, entry.summary)->group("Commands");
        command.AddOptions(*parser);
        CompleteHelp(*parser, command, entry.examples);
    }
    app.footer("nuvra-cl COMMAND --help tells more about a command.");
    const auto chosen = [&]() -> std::string {
        return app.get_subcommands().empty() ? "" : app.get_subcommands().front()->get_name();
    };
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& success) {
        const std::string unknown = chosen().empty() ? DescribeUnknownWord(app) : "";
        return unknown.empty() ? ShowHelp(app, success) : ReportWrongArguments(unknown, {});
    } catch (const CLI::ParseError& error) {
        const std::string unknown = DescribeUnknownWord(app);
        return ReportWrongArguments(unknown.empty() ? error.what() : unknown, chosen());
    }
    const std::string name = chosen();
    if (name.empty()) return ReportWrongArguments("no command was given", {});
    Command& command = *commands[name];
    const std::string misuse = DescribeMisuse(command, name, environment.options);
    return misuse.empty() ? RunWatched(command, *app.get_subcommands().front(), environment)
                          : ReportWrongArguments(misuse, name);
}

}  // namespace

}  // namespace nuvra::app

int main(int argc, char** argv) {
    nuvra::app::HandleSignals();
    std::vector<std::string> arguments = nuvra::app::GetArguments(argc, argv);
    std::vector<char*> pointers(arguments.size());
    std::ranges::transform(arguments, pointers.begin(),
                           [](std::string& argument) { return argument.data(); });
    return nuvra::app::Main(static_cast<int>(pointers.size()), pointers.data());
}
