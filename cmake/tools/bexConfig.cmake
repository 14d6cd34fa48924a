# What bex brings for CMake without its libraries: find_package(bex COMPONENTS tools). Where the object library's
# package is installed, too, that one is found first and takes its tools from here.
foreach(component IN LISTS bex_FIND_COMPONENTS)
    if(NOT component STREQUAL "tools" AND bex_FIND_REQUIRED_${component})
        set(bex_FOUND FALSE)
        set(bex_NOT_FOUND_MESSAGE "the component ${component} needs the development files of libbex")
        return()
    endif()
endforeach()
include("${CMAKE_CURRENT_LIST_DIR}/BexTools.cmake")
