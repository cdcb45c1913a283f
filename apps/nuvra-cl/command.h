#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "environment.h"

namespace nuvra::app {

/// One command of the program.
class Command {
public:
    Command() = default;
    virtual ~Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    virtual void AddOptions(CLI::App& app) = 0;
    /// The files that the run reads or writes and that no option names, such as those of a list. Called once,
    /// before `Run`; throws likewise.
    virtual std::vector<std::string> ListOtherFiles() { return {}; }
    /// Throws `Failure`, `WrongArguments` and CLI::ParseError.
    virtual void Run(Environment& environment) = 0;
};

using CommandPtr = std::unique_ptr<Command>;

CommandPtr MakeChartCommand();
CommandPtr MakeClearCommand();
CommandPtr MakeCrc32cCommand();
CommandPtr MakeDevicesCommand();
CommandPtr MakeGammaCommand();
CommandPtr MakeInvertCommand();
CommandPtr MakePrefixSumCommand();
CommandPtr MakeScaleCommand();
CommandPtr MakeSelftestCommand();
CommandPtr MakeSheetCommand();
CommandPtr MakeStereoCommand();
CommandPtr MakeTasksCommand();

struct CommandEntry {
    const char* name;
    const char* summary;
    CommandPtr (*make)();
};

/// Every command in the order of the help.
inline constexpr CommandEntry kCommands[] = {
    {"devices", "List every OpenCL platform and device", MakeDevicesCommand},
    {"tasks", "List every task that can be run on a device", MakeTasksCommand},
    {"invert", "Invert the colours of a picture (task image.invert)", MakeInvertCommand},
    {"gamma", "Raise the colours of a picture to a power (task image.gamma)", MakeGammaCommand},
    {"scale", "Scale a picture (tasks image.scalenearest and image.scalebicubic)", MakeScaleCommand},
    {"stereo", "Put two pictures side by side (task image.stereo.sbs)", MakeStereoCommand},
    {"crc32c", "Checksum files (task crc32c)", MakeCrc32cCommand},
    {"prefixsum", "Sum up the values of a file (task prefixsum)", MakePrefixSumCommand},
    {"clear", "Fill the beginning of a device buffer (task clearmem)", MakeClearCommand},
    {"selftest", "Check every task on a device against its definition", MakeSelftestCommand},
    {"chart", "Draw a test chart", MakeChartCommand},
    {"sheet", "Put pictures on one contact sheet", MakeSheetCommand},
};

}  // namespace nuvra::app
