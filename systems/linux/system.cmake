# All that is Linux rather than POSIX; what is POSIX lies in the unix/ folders. A port to another Unix-like system is
# one more folder like this, chosen by the root CMakeLists.txt.
set(NUVRA_SYSTEM_FOLDER unix)
set(NUVRA_RUNTIME_NAME libOpenCL.so.1)
set(NUVRA_DEFAULT_PICTURE_LIBRARY openimageio)
set(NUVRA_SYSTEM_CALL_SOURCES ${CMAKE_CURRENT_LIST_DIR}/thread_id.cpp)
set(NUVRA_SYSTEM_PROGRAM_SOURCES ${CMAKE_CURRENT_LIST_DIR}/machine.cpp)
set(NUVRA_PEAK_MEMORY_SOURCE ${CMAKE_CURRENT_LIST_DIR}/peak_memory.cpp)

# Hidden visibility still exports some templates of the C++ library, which would pin a plug-in in memory.
function(export_only target map)
    target_link_options(${target} PRIVATE -Wl,--version-script=${map})
    set_target_properties(${target} PROPERTIES LINK_DEPENDS ${map})
endfunction()

function(refuse_undefined_symbols target)
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
endfunction()

# A library that hands on another's functions must bring it along though it calls none of them.
function(keep_linked_libraries target)
    target_link_options(${target} PRIVATE -Wl,--no-as-needed)
endfunction()
