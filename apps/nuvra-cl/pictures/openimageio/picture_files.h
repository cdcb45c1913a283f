#pragma once

#include <OpenImageIO/imageio.h>

#include <algorithm>

#include "pictures/picture_library.h"

/// The library's operations, and what they share.
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

std::unique_ptr<PictureReader> OpenReader(const std::string& name, const CheckClaim& check);
std::string ChooseFormat(const std::string& name, const PictureHead& picture);
std::unique_ptr<PictureWriter> OpenWriter(const std::filesystem::path& file, const std::string& format,
                                          const std::string& name, const PictureHead& picture);
Thumbnail Shrink(const Picture& picture, int width, int height);
bool DrawTexts(Picture& sheet, const std::vector<TextLine>& lines);

}  // namespace nuvra::app
