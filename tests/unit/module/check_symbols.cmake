# Fails unless the module exports its records alone, and needs neither the host nor RTTI, and throws nothing. It
# catches what a runtime throws.
function(list_symbols option result)
    execute_process(COMMAND ${NM} -D ${option} ${MODULE} OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX MATCHALL "[^ \n]+\n" names "${text}")
    list(TRANSFORM names STRIP)
    set(${result} ${names} PARENT_SCOPE)
endfunction()

list_symbols(--defined-only exported)
if(NOT exported STREQUAL "g_privateModules")
    message(FATAL_ERROR "exported: ${exported}")
endif()
list_symbols(--undefined-only needed)
list(FILTER needed INCLUDE REGEX "nuvra|^cl[A-Z]|__cxa_(throw|allocate)|dynamic_cast")
if(needed)
    message(FATAL_ERROR "needed: ${needed}")
endif()
