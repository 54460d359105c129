# cmake --install build --prefix FOLDER: bin, lib, include and the manual pages.  Programs and
# libraries find each other by the folders' places to each other, so the whole may be moved.
foreach(target vntremote vanto vantoclient vntworker vntsolve)
    if(TARGET ${target})
        install(TARGETS ${target})
    endif()
endforeach()
install(DIRECTORY include/ TYPE INCLUDE FILES_MATCHING PATTERN "*.h")
foreach(section 1 5)
    install(DIRECTORY docs/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section}
        FILES_MATCHING PATTERN "*.${section}")
endforeach()
install(DIRECTORY docs/schema DESTINATION ${CMAKE_INSTALL_DATADIR}/vanto)
install(DIRECTORY ${CMAKE_BINARY_DIR}/docs/man3 DESTINATION ${CMAKE_INSTALL_MANDIR})
install(FILES LICENSE README.md TYPE DOC)
