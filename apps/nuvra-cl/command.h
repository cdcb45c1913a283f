#pragma once

#include <CLI/CLI.hpp>
#include <memory>

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
    /// Throws `Failure`, `WrongArguments` and CLI::ParseError.
    virtual void Run(Environment& environment) = 0;
};

using CommandPtr = std::unique_ptr<Command>;

CommandPtr MakeChartCommand();
CommandPtr MakeClearCommand();
CommandPtr MakeDevicesCommand();
CommandPtr MakeInvertCommand();
CommandPtr MakeSheetCommand();
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
    {"clear", "Fill the beginning of a device buffer (task clearmem)", MakeClearCommand},
    {"chart", "Draw a test chart", MakeChartCommand},
    {"sheet", "Put pictures on one contact sheet", MakeSheetCommand},
};

}  // namespace nuvra::app
