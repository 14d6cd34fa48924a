# Has CPack make packages with bex: for projects that describe theirs by CPACK_DEBIAN_* variables.
#     find_package(bex REQUIRED COMPONENTS tools)
#     set(CPACK_GENERATOR External)
#     include(BexCPack)
#     include(CPack)
# CPack installs the components, bex packages them, as many at a time as CPACK_THREADS says or there are processors.
# BEX_CPACK_SUFFIX is how the packages' names end: deb if not set.
if(NOT CPACK_GENERATOR STREQUAL "External")
    message(FATAL_ERROR "BexCPack needs set(CPACK_GENERATOR External), which is \"${CPACK_GENERATOR}\"")
endif()
get_target_property(CPACK_BEX_PROGRAM bex::tool IMPORTED_LOCATION)
set(CPACK_EXTERNAL_ENABLE_STAGING ON)
set(CPACK_EXTERNAL_PACKAGE_SCRIPT "${CMAKE_CURRENT_LIST_DIR}/BexCPackScript.cmake")
# As CPack's own generator does: what is installed to an absolute path goes below the stage, too, and not to this
# machine.
if(NOT CPACK_SET_DESTDIR)
    set(CPACK_SET_DESTDIR I_ON)
endif()
if(NOT DEFINED CPACK_PACKAGING_INSTALL_PREFIX)
    set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
endif()
if(DEFINED BEX_CPACK_SUFFIX)
    set(CPACK_BEX_SUFFIX "${BEX_CPACK_SUFFIX}")
else()
    set(CPACK_BEX_SUFFIX deb)
endif()
if(DEFINED PROJECT_HOMEPAGE_URL AND NOT DEFINED CPACK_PACKAGE_HOMEPAGE_URL)
    set(CPACK_PACKAGE_HOMEPAGE_URL "${PROJECT_HOMEPAGE_URL}")
endif()
