# vnt_module(name sources...): a module of the library, as objects.  The shared library and the
# tests link the same objects, so tests can call what the library does not export.
function(vnt_module name)
    add_library(${name} OBJECT ${ARGN})
    target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/include)
    target_compile_options(${name} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions>)
    target_link_libraries(${name} PUBLIC Threads::Threads)
endfunction()
