#include "nuvra/module.h"
#include "pictures/picture_operations.h"

namespace nuvra::app {

/// What the program looks up. C linkage leaves the name undecorated.
extern "C" NUVRA_EXPORT const PictureLibrary g_pictureLibrary;
constinit const PictureLibrary g_pictureLibrary = kPictureOperations;

}  // namespace nuvra::app
