#include "console/failure.h"
#include "nuvra/host/dynamic_library.h"
#include "nuvra/host/file_name.h"
#include "pictures/picture_library.h"
#include "system/program_files.h"

namespace nuvra::app {

const char* const kReadFormats = "PNG, JPEG, TIFF, OpenEXR and more";
const char* const kWrittenFormats = "PNG, JPEG, TIFF, OpenEXR and more";
const char* const kMetadataHelp = "Metadata is kept where the format of OUT has a place for it.";
const char* const kFontAdvice = "install fonts-dejavu-core";

namespace {

const PictureLibrary& Open() {
    const std::string file = host::ToText(FindProgramFile(NUVRA_PICTURE_LIBRARY_FILE));
    std::string reason;
    // Never closed: pictures and the library's own threads live to the end.
    static auto& library =
        *new host::DynamicLibrary(host::DynamicLibrary::Open(file, host::LibraryUse::PART, reason));
    const void* table = library.IsOpen() ? library.Find("g_pictureLibrary", reason) : nullptr;
    if (table == nullptr)
        throw Failure("pictures need " + Quote(file) + ", which cannot be opened (" + FirstLine(reason, "") +
                      "); it comes with this program and needs Debian's package " NUVRA_PICTURE_PACKAGE);
    return *static_cast<const PictureLibrary*>(table);
}

}  // namespace

const PictureLibrary& GetPictureLibrary() {
    static const PictureLibrary& library = Open();
    return library;
}

}  // namespace nuvra::app
