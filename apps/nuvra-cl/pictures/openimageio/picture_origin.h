#pragma once

#include <OpenImageIO/imageio.h>

#include "pictures/picture.h"

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

}  // namespace nuvra::app
