# The system's side of each part lies in the win/ folders.
set(NUVRA_SYSTEM_FOLDER win)
set(NUVRA_RUNTIME_NAME opencl.dll)
set(NUVRA_DEFAULT_PICTURE_LIBRARY stb)
set(NUVRA_SYSTEM_CALL_SOURCES)
set(NUVRA_SYSTEM_PROGRAM_SOURCES)

# A DLL exports what is marked, and nothing in it may be undefined.
function(export_only target map)
endfunction()
function(refuse_undefined_symbols target)
endfunction()
function(keep_linked_libraries target)
endfunction()
