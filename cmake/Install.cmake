set(bexConfigDir ${CMAKE_INSTALL_LIBDIR}/cmake/bex)

install(EXPORT bexTargets NAMESPACE bex:: DESTINATION ${bexConfigDir})
configure_package_config_file(cmake/bexConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/bexConfig.cmake
    INSTALL_DESTINATION ${bexConfigDir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/bexConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/bexConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/bexConfigVersion.cmake
    DESTINATION ${bexConfigDir})

# An absolute install directory stands as it is; a relative one is below the prefix.
function(bex_install_pkgconfig name)
    cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_LIBDIR BASE_DIRECTORY "\${prefix}" OUTPUT_VARIABLE pcLibdir)
    cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_INCLUDEDIR BASE_DIRECTORY "\${prefix}" OUTPUT_VARIABLE pcIncludedir)
    configure_file(cmake/${name}.pc.in ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

bex_install_pkgconfig(bex)
if(BEX_BUILD_STREAM)
    bex_install_pkgconfig(bex-stream)
endif()
