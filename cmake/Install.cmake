# Each library is a package of its own for CMake and for pkg-config, and neither needs the other.

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

# bex_install_package(PACKAGE TARGET DEPENDENCIES [ALWAYS]): the dependencies are CMake code that finds what a static
# library has to be linked with; a shared one brings it along. ALWAYS is for what its headers include.
function(bex_install_package package target dependencies)
    if(BUILD_SHARED_LIBS AND NOT ARGN)
        set(dependencies "")
    endif()
    set(configDir ${CMAKE_INSTALL_LIBDIR}/cmake/${package})
    install(EXPORT ${target}Targets NAMESPACE bex:: FILE ${package}Targets.cmake DESTINATION ${configDir}
        COMPONENT ${target}-development)
    configure_package_config_file(cmake/Config.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/${package}Config.cmake
        INSTALL_DESTINATION ${configDir})
    write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/${package}ConfigVersion.cmake
        COMPATIBILITY SameMajorVersion)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${package}Config.cmake
        ${CMAKE_CURRENT_BINARY_DIR}/${package}ConfigVersion.cmake
        DESTINATION ${configDir} COMPONENT ${target}-development)
    configure_file(cmake/${package}.pc.in ${CMAKE_CURRENT_BINARY_DIR}/${package}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${package}.pc DESTINATION ${pcDir} COMPONENT ${target}-development)
endfunction()

# What the command brings for CMake stands apart from the libraries' packages and needs none of them; the package "bex"
# takes the component "tools" from there. A later find_package() of the libraries still gives them.
set(toolsDir ${CMAKE_INSTALL_DATADIR}/cmake/bex-tools)
cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_BINDIR BASE_DIRECTORY "\${bexToolsPrefix}" OUTPUT_VARIABLE toolsBindir)
file(RELATIVE_PATH upFromTools /prefix/${toolsDir} /prefix)
file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/BexToolsPrefix.cmake @ONLY CONTENT [[
get_filename_component(bexToolsPrefix "${CMAKE_CURRENT_LIST_DIR}/@upFromTools@" ABSOLUTE)
set(bexProgram "@toolsBindir@/bex")
]])
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/tools/bexConfigVersion.cmake
    COMPATIBILITY SameMajorVersion ARCH_INDEPENDENT)
install(DIRECTORY cmake/tools/ DESTINATION ${toolsDir} COMPONENT tool)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/BexToolsPrefix.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/tools/bexConfigVersion.cmake DESTINATION ${toolsDir} COMPONENT tool)

set(tools [[
if("tools" IN_LIST bex_FIND_COMPONENTS)
    include("${PACKAGE_PREFIX_DIR}/@toolsDir@/BexTools.cmake" OPTIONAL)
    if(bex_FIND_COMPONENTS STREQUAL "tools")
        check_required_components(bex)
        return()
    endif()
endif()
]])
string(CONFIGURE "${tools}" tools @ONLY)
bex_install_package(bex bex [[
include(CMakeFindDependencyMacro)
find_dependency(LibArchive)
find_dependency(Boost COMPONENTS filesystem)
]])
set(tools "")
bex_install_package(bex-stream bexstream [[
include(CMakeFindDependencyMacro)
find_dependency(PkgConfig)
pkg_check_modules(codecs REQUIRED IMPORTED_TARGET libdeflate libisal libzstd liblzma libmd)
find_dependency(BZip2)
find_dependency(ZLIB)
find_dependency(Threads)
]])
bex_install_package(bex-buildfile bexbuildfile [[
include(CMakeFindDependencyMacro)
find_dependency(bex-stream)
]] ALWAYS)
bex_install_package(bex-shlibs bexshlibs [[
include(CMakeFindDependencyMacro)
find_dependency(bex-stream)
]] ALWAYS)
bex_install_package(bex-repo bexrepo [[
include(CMakeFindDependencyMacro)
find_dependency(bex-stream)
]] ALWAYS)
bex_install_package(bex-remote bexremote [[
include(CMakeFindDependencyMacro)
find_dependency(bex-stream)
]] ALWAYS)
