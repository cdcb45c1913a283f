# OpenImageIO cannot be had for this target; stb's headers and zlib can.
include(share_headers)
share_headers(stb)
set(ZLIB_USE_STATIC_LIBS ON)
find_package(ZLIB REQUIRED)
add_library(stb_pictures STATIC pictures/stb/stb_pictures.cpp)
target_include_directories(stb_pictures SYSTEM PUBLIC ${NUVRA_SHARED_HEADERS})
target_compile_options(stb_pictures PRIVATE -w)
set(picture_definitions)
set(picture_targets)
set(picture_libraries stb_pictures ZLIB::ZLIB)
set(picture_sources
    pictures/stb/picture_library.cpp
    pictures/stb/picture_reader.cpp
    pictures/stb/picture_writer.cpp
    pictures/stb/png_writer.cpp
    pictures/stb/sheet_drawing.cpp)
