# A library of its own: what OpenImageIO brings along takes longer to load than most commands run.
find_package(PkgConfig REQUIRED)
# OpenImageIO's own CMake package insists on its tools, which the program does not need.
pkg_check_modules(OpenImageIO REQUIRED IMPORTED_TARGET GLOBAL OpenImageIO)
add_library(nuvra-cl.pictures MODULE
    console/words.cpp
    pictures/openimageio/checked_file.cpp
    pictures/openimageio/picture_claim.cpp
    pictures/openimageio/picture_library.cpp
    pictures/openimageio/picture_reader.cpp
    pictures/openimageio/picture_writer.cpp
    pictures/openimageio/sheet_drawing.cpp
    pictures/pixels.cpp)
set_target_properties(nuvra-cl.pictures PROPERTIES PREFIX "")
target_include_directories(nuvra-cl.pictures PRIVATE .)
target_link_libraries(nuvra-cl.pictures PRIVATE nuvra_host_base nuvra_open_cl PkgConfig::OpenImageIO)
export_only(nuvra-cl.pictures ${CMAKE_CURRENT_SOURCE_DIR}/pictures/openimageio/exports.map)
if(NOT NUVRA_SANITIZE)
    refuse_undefined_symbols(nuvra-cl.pictures)
endif()

string(REGEX MATCH "^[0-9]+\\.[0-9]+" openimageio_series ${OpenImageIO_VERSION})
set(picture_definitions
    NUVRA_PICTURE_LIBRARY_FILE="$<TARGET_FILE_NAME:nuvra-cl.pictures>"
    NUVRA_PICTURE_PACKAGE="libopenimageio${openimageio_series}")
set(picture_targets nuvra-cl.pictures)
set(picture_libraries)
set(picture_sources pictures/openimageio/opening.cpp)
