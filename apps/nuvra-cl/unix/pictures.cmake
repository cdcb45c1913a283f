find_package(PkgConfig REQUIRED)
# OpenImageIO's own CMake package insists on its tools, which the program does not need.
pkg_check_modules(OpenImageIO REQUIRED IMPORTED_TARGET GLOBAL OpenImageIO)
set(picture_library PkgConfig::OpenImageIO)
set(picture_sources
    unix/checked_file.cpp
    unix/picture_claim.cpp
    unix/picture_reader.cpp
    unix/picture_writer.cpp
    unix/sheet_drawing.cpp)
