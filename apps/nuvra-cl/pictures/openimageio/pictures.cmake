find_package(PkgConfig REQUIRED)
# OpenImageIO's own CMake package insists on its tools, which the program does not need.
pkg_check_modules(OpenImageIO REQUIRED IMPORTED_TARGET GLOBAL OpenImageIO)
set(picture_library PkgConfig::OpenImageIO)
set(picture_sources
    pictures/openimageio/checked_file.cpp
    pictures/openimageio/picture_claim.cpp
    pictures/openimageio/picture_reader.cpp
    pictures/openimageio/picture_writer.cpp
    pictures/openimageio/sheet_drawing.cpp)
