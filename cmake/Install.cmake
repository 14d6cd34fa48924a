set(bexConfigDir ${CMAKE_INSTALL_LIBDIR}/cmake/bex)

install(EXPORT bexTargets NAMESPACE bex:: DESTINATION ${bexConfigDir} COMPONENT development)
configure_package_config_file(cmake/bexConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/bexConfig.cmake
    INSTALL_DESTINATION ${bexConfigDir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/bexConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/bexConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/bexConfigVersion.cmake
    DESTINATION ${bexConfigDir} COMPONENT development)

# The prefix follows the file, so that `cmake --install --prefix` and a moved tree work; only an absolute library
# folder ties it to the configured prefix.
set(pcDir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
    set(pcPrefix ${CMAKE_INSTALL_PREFIX})
else()
    file(RELATIVE_PATH upFromPcDir /prefix/${pcDir} /prefix)
    string(REGEX REPLACE "/$" "" pcPrefix "\${pcfiledir}/${upFromPcDir}")
endif()
# An absolute install directory stands as it is; a relative one is below the prefix.
cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_LIBDIR BASE_DIRECTORY "\${prefix}" OUTPUT_VARIABLE pcLibdir)
cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_INCLUDEDIR BASE_DIRECTORY "\${prefix}" OUTPUT_VARIABLE pcIncludedir)

function(bex_install_pkgconfig name)
    configure_file(cmake/${name}.pc.in ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc DESTINATION ${pcDir} COMPONENT development)
endfunction()

bex_install_pkgconfig(bex)
bex_install_pkgconfig(bex-stream)
bex_install_pkgconfig(bex-shlibs)
