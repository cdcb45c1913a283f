#include "pictures/picture_operations.h"

namespace nuvra::app {

const char* const kReadFormats = "PNG, JPEG or BMP";
const char* const kWrittenFormats = "PNG, JPEG or BMP";
const char* const kMetadataHelp =
    "This build knows only PNG, JPEG and BMP, of which PNG alone has 16-bit samples; metadata is not kept.";
const char* const kFontAdvice = "install Arial, Tahoma or DejaVu Sans";

/// Part of the program, as it brings no other libraries along.
const PictureLibrary& GetPictureLibrary() {
    return kPictureOperations;
}

}  // namespace nuvra::app
