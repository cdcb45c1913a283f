#pragma once

#include <OpenImageIO/imageio.h>

#include <algorithm>

#include "pictures/picture_operations.h"

/// What the library's operations share.
namespace nuvra::app {

struct PictureOrigin {
    OIIO::ImageSpec spec;  ///< as read: the file's sample type, metadata
};

/// OpenImageIO's name for the samples in memory.
inline OIIO::TypeDesc::BASETYPE ToOpenImageIO(Samples samples) {
    constexpr OIIO::TypeDesc::BASETYPE kTypes[] = {OIIO::TypeDesc::UINT8, OIIO::TypeDesc::UINT16,
                                                   OIIO::TypeDesc::HALF, OIIO::TypeDesc::FLOAT};
    return kTypes[static_cast<size_t>(samples)];
}

/// In how many rows a file is read or written at least.
inline Int64 GetRowStep(const OIIO::ImageSpec& spec) {
    return spec.tile_width > 0 ? std::max(spec.tile_height, 1) : 1;
}

/// Reads all channels of the rows [begin, end), which are whole tiles where the file has tiles. False where
/// they are damaged.
bool ReadRows(OIIO::ImageInput& input, const OIIO::ImageSpec& spec, Int64 begin, Int64 end,
              OIIO::TypeDesc type, void* pixels);

}  // namespace nuvra::app
