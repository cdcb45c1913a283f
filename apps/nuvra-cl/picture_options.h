#pragma once

#include <functional>
#include <optional>
#include <string>

#include "session.h"
#include "tiles.h"

namespace nuvra::app {

/// What the commands have in common that change the pixels of a picture one by one.
class PictureOptions {
public:
    void AddTo(CLI::App& app);

    using Execute = std::function<void(const Gpu& gpu, const OpenCLTaskRef& task, const Tile& tile)>;

    /// Reads IN, replaces the rectangle by what the task makes of it, and writes OUT. `execute` runs the task
    /// on one tile.
    void Run(Environment& environment, const char* task, const Execute& execute) const;

private:
    std::string _in;
    std::string _out;
    std::optional<Rectangle> _rectangle;
    MemoryLimit _limit;
    Int64 _tile = 2048;  ///< pixels: bounds the memory for images, and gives the progress bar its steps
};

}  // namespace nuvra::app
