#pragma once

#include <functional>

#include "picture.h"
#include "session.h"
#include "values.h"

namespace nuvra::app {

/// One piece of a picture on the device.
struct Tile {
    const OpenCLMemoryObjectRef& source;  ///< holds the piece at its upper left corner
    const OpenCLMemoryObjectRef& destination;
    Int64 width;  ///< pixels
    Int64 height;
};

/// Throws a `Failure` for an empty rectangle and for one that leaves the picture.
void CheckRectangle(const Rectangle& rectangle, const Picture& picture);

/// Replaces a rectangle of the picture, piece by piece, by what `execute` enqueues to write to the tile's
/// destination. Pieces are at most `limit` pixels wide and high, and smaller where the device cannot hold
/// images of that size. Throws a `Failure`.
void WorkInTiles(const Gpu& gpu, Picture& picture, const Rectangle& rectangle, Int64 limit,
                 std::FILE* terminal, const std::function<void(const Tile& tile)>& execute);

}  // namespace nuvra::app
