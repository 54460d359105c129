# cmake --install build --prefix FOLDER: programs, libraries, headers, manual pages, and what finds
# them: a package for CMake and files for pkg-config.  All of it knows its parts by the folders'
# places to each other, so the whole may be moved.
include(CMakePackageConfigHelpers)

# vnt_install_library(target name description): the library with its names for CMake, vanto::NAME,
# and pkg-config, vanto-NAME.
function(vnt_install_library target name description)
    if(NOT TARGET ${target})
        return()
    endif()
    set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
    add_library(vanto::${name} ALIAS ${target})
    install(TARGETS ${target} EXPORT vanto
        LIBRARY COMPONENT libraries NAMELINK_COMPONENT development
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
    set(PC_NAME vanto-${name})
    set(PC_LIBRARY ${target})
    set(PC_DESCRIPTION ${description})
    file(RELATIVE_PATH PC_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
    string(REGEX REPLACE "/$" "" PC_PREFIX ${PC_PREFIX})
    configure_file(cmake/vanto.pc.in ${CMAKE_BINARY_DIR}/vanto-${name}.pc @ONLY)
    install(FILES ${CMAKE_BINARY_DIR}/vanto-${name}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endfunction()
vnt_install_library(vntremote remote "worker server and transport of remote solver objects")
vnt_install_library(vantoclient client "functions of the solver as remote calls")
vnt_install_library(vanto solver "functions of the solver in the own process")

set(config ${CMAKE_INSTALL_LIBDIR}/cmake/vanto)
install(EXPORT vanto FILE vantoTargets.cmake NAMESPACE vanto:: DESTINATION ${config}
    COMPONENT development)
configure_package_config_file(cmake/vantoConfig.cmake.in ${CMAKE_BINARY_DIR}/vantoConfig.cmake
    INSTALL_DESTINATION ${config})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/vantoConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/vantoConfig.cmake ${CMAKE_BINARY_DIR}/vantoConfigVersion.cmake
    DESTINATION ${config} COMPONENT development)
install(DIRECTORY include/ TYPE INCLUDE COMPONENT development FILES_MATCHING PATTERN "*.h")

foreach(program vntworker vntsolve vnttop)
    if(TARGET ${program})
        install(TARGETS ${program} RUNTIME COMPONENT programs)
    endif()
endforeach()
install(PROGRAMS ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/vntremote-run
    ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/vntpool TYPE BIN COMPONENT programs)
foreach(section 1 5)
    install(DIRECTORY docs/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section}
        COMPONENT programs FILES_MATCHING PATTERN "*.${section}")
endforeach()
install(FILES ${VANTO_LUA} DESTINATION ${CMAKE_INSTALL_DATADIR}/vanto/wireshark
    COMPONENT programs) # a user links it into a folder of plugins: docs/site/look-at-traffic.md
install(DIRECTORY docs/schema DESTINATION ${CMAKE_INSTALL_DATADIR}/vanto COMPONENT programs)
install(DIRECTORY ${CMAKE_BINARY_DIR}/docs/man3 DESTINATION ${CMAKE_INSTALL_MANDIR}
    COMPONENT development)
install(FILES LICENSE README.md TYPE DOC COMPONENT programs)
install(DIRECTORY examples/service DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples
    USE_SOURCE_PERMISSIONS COMPONENT programs)
