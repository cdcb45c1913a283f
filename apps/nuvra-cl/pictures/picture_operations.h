#pragma once

#include "pictures/picture_library.h"

/// What a picture library implements: the operations of the table, by their names.
namespace nuvra::app {

std::unique_ptr<PictureReader> OpenReader(const std::string& name, const CheckClaim& check);
std::string ChooseFormat(const std::string& name, const PictureHead& picture);
std::unique_ptr<PictureWriter> OpenWriter(const std::filesystem::path& file, const std::string& format,
                                          const std::string& name, const PictureHead& picture);
Thumbnail Shrink(const Picture& picture, int width, int height);
bool DrawTexts(Picture& sheet, const std::vector<TextLine>& lines);

inline constexpr PictureLibrary kPictureOperations{OpenReader, ChooseFormat, OpenWriter, Shrink, DrawTexts};

}  // namespace nuvra::app
