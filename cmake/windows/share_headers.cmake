# share_headers(NAME...): links each of this system's header folders /usr/include/NAME into a folder of the
# build tree, NUVRA_SHARED_HEADERS, which holds nothing else: the rest of /usr/include is this system's own.
set(NUVRA_SHARED_HEADERS ${CMAKE_BINARY_DIR}/shared_headers)
function(share_headers)
    file(MAKE_DIRECTORY ${NUVRA_SHARED_HEADERS})
    foreach(name ${ARGN})
        if(NOT EXISTS /usr/include/${name})
            message(FATAL_ERROR "There is no /usr/include/${name}: run scripts/setup windows")
        endif()
        file(CREATE_LINK /usr/include/${name} ${NUVRA_SHARED_HEADERS}/${name} SYMBOLIC)
    endforeach()
endfunction()
