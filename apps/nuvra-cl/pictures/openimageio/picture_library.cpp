#include "nuvra/module.h"
#include "pictures/openimageio/picture_files.h"

namespace nuvra::app {

/// What the program looks up. C linkage leaves the name undecorated.
extern "C" NUVRA_EXPORT const PictureLibrary g_pictureLibrary;
constinit const PictureLibrary g_pictureLibrary{OpenReader, ChooseFormat, OpenWriter, Shrink, DrawTexts};

}  // namespace nuvra::app
