#pragma once

#include <memory>
#include <string>
#include <vector>

#include "console/environment.h"

namespace CLI {
class App;
}

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
    /// Whether the command works on a device, which --device then names.
    virtual bool UsesDevice() const { return true; }
    /// Whether a run prints its result on standard output; known when the arguments have been read.
    virtual bool PrintsResult() const { return false; }
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
    const char* examples;  ///< arguments behind the program's name, a line each
};

/// Every command in the order of the help.
inline constexpr CommandEntry kCommands[] = {
    {"devices", "List every OpenCL platform and device", MakeDevicesCommand,
     "devices\n"
     "devices --device 0 --json"},
    {"tasks", "List every task that can be run on a device", MakeTasksCommand, "tasks"},
    {"invert", "Invert the colours of a picture (task image.invert)", MakeInvertCommand,
     "invert photo.jpg negative.png\n"
     "invert photo.png part.png --rect 0,0,100,50"},
    {"gamma", "Raise the colours of a picture to a power (task image.gamma)", MakeGammaCommand,
     "gamma photo.jpg darker.jpg --gamma 2.2"},
    {"scale", "Scale a picture (tasks image.scalenearest and image.scalebicubic)", MakeScaleCommand,
     "scale photo.jpg small.jpg --size 640x0\n"
     "scale icon.png large.png --factor 4 --filter nearest --mirror x"},
    {"stereo", "Put two pictures side by side (task image.stereo.sbs)", MakeStereoCommand,
     "stereo left.png right.png both.png"},
    {"crc32c", "Checksum files (task crc32c)", MakeCrc32cCommand,
     "crc32c *.png > list\n"
     "crc32c --check list"},
    {"prefixsum", "Sum up the values of a file (task prefixsum)", MakePrefixSumCommand,
     "prefixsum counts.bin offsets.bin --total"},
    {"clear", "Fill the beginning of a device buffer (task clearmem)", MakeClearCommand,
     "clear --size 1M zeros.bin\n"
     "clear --size 16 --buffer-size 64 --value 255 bytes.bin"},
    {"selftest", "Check every task on a device against its definition", MakeSelftestCommand,
     "selftest\n"
     "selftest --device 1"},
    {"chart", "Draw a test chart", MakeChartCommand, "chart chart.png --size 1920x1080"},
    {"sheet", "Put pictures on one contact sheet", MakeSheetCommand, "sheet sheet.png *.jpg"},
};

}  // namespace nuvra::app
