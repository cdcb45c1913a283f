#pragma once

#include <optional>
#include <string>

#include "console/command.h"
#include "device/session.h"
#include "pictures/bands.h"

namespace nuvra::app {

/// One piece of a picture on the device.
struct Tile {
    const Device& device;
    const OpenCLTaskRef& task;
    const OpenCLMemoryObjectRef& source;  ///< holds the piece at its upper left corner
    const OpenCLMemoryObjectRef& destination;
    Int64 width;  ///< pixels
    Int64 height;
};

/// A command that replaces each pixel of a picture, or of a rectangle of it, by what a task makes of it.
class PictureCommand : public Command {
public:
    explicit PictureCommand(const char* task) : _task(task) {}

    void AddOptions(CLI::App& app) override;
    void Run(Environment& environment) override;

protected:
    /// Runs the task on one tile.
    virtual void Execute(const Tile& tile) const = 0;

private:
    void Work(const Device& device, const PictureHead& picture, const Rectangle& rectangle, Int64 rows,
              BandReader& reader, BandWriter& writer, std::FILE* terminal) const;

    const char* const _task;
    std::string _in;
    std::string _out;
    std::optional<Rectangle> _rectangle;
    MemoryLimit _limit;
    Int64 _tile = 2048;  ///< pixels: bounds the memory for images, and gives the progress bar its steps
};

}  // namespace nuvra::app
