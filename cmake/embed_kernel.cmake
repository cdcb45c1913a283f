# Writes HEADER with the text of the kernel file SOURCE: image_invert.cl becomes kImageInvertSource.
cmake_path(GET SOURCE STEM name)
string(REPLACE "_" ";" words ${name})
foreach(word ${words})
    string(SUBSTRING ${word} 0 1 first)
    string(SUBSTRING ${word} 1 -1 rest)
    string(TOUPPER ${first} first)
    string(APPEND constant ${first}${rest})
endforeach()
file(READ ${SOURCE} text)
file(WRITE ${HEADER} "#pragma once

namespace nuvra {

inline constexpr char k${constant}Source[] = R\"kernel(${text})kernel\";

}  // namespace nuvra
")
