# bex::tool, the command; bex_add_package(); and the module BexCPack for include().
set(bex_tools_FOUND TRUE)
if(NOT CMAKE_CURRENT_LIST_DIR IN_LIST CMAKE_MODULE_PATH)
    list(APPEND CMAKE_MODULE_PATH "${CMAKE_CURRENT_LIST_DIR}")
endif()
if(TARGET bex::tool)
    return()
endif()
include("${CMAKE_CURRENT_LIST_DIR}/BexToolsPrefix.cmake")
add_executable(bex::tool IMPORTED GLOBAL)
set_target_properties(bex::tool PROPERTIES IMPORTED_LOCATION "${bexProgram}")
set_property(GLOBAL PROPERTY bexToolsDirectory "${CMAKE_CURRENT_LIST_DIR}")

# bex_add_package(NAME
#     [COMPONENTS component...]     components of the project's install rules to package; all of them if not given
#     [FILE build.yaml]             a build file instead of the arguments up to CHANGELOG; the installed files are in
#                                   ${STAGE}. Relative paths in it and below are relative to the current source
#                                   directory
#     [VERSION version] [ARCHITECTURE arch] [DESCRIPTION text] [MAINTAINER name] [DEPENDS relation...]
#     [SYSTEMD unit...] [SYSUSERS file] [TMPFILES file] [CHANGELOG file]
#     [PREFIX /usr] [SUFFIX bex] [OUTPUT directory]
#     [FIELDS Name=Value...] [CONFFILES path...] [SCRIPTS postinst=file...]
#     [STRIP] [DBGSYM]              drop debug symbols, or put them into NAME-dbgsym
#     [OPTIONS option...]           for bex build
#     [TARGETS target...])          to be built first, besides all programs and libraries of the project
#
# Adds the target package-NAME, which installs the components into a directory of its own and packages that, and the
# target bex-packages for all of them. `auto` among DEPENDS finds the packages of the shared libraries.
function(bex_add_package name)
    cmake_parse_arguments(PARSE_ARGV 1 package "STRIP;DBGSYM"
        "FILE;PREFIX;VERSION;ARCHITECTURE;SUFFIX;OUTPUT;DESCRIPTION;MAINTAINER;SYSUSERS;TMPFILES;CHANGELOG"
        "COMPONENTS;DEPENDS;FIELDS;CONFFILES;SYSTEMD;SCRIPTS;OPTIONS;TARGETS")
    if(package_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "bex_add_package(${name}): unknown arguments: ${package_UNPARSED_ARGUMENTS}")
    endif()
    set(default_PREFIX /usr)
    set(default_SUFFIX bex)
    set(default_OUTPUT "${CMAKE_CURRENT_BINARY_DIR}")
    set(default_VERSION "${PROJECT_VERSION}")
    set(default_DESCRIPTION "${PROJECT_DESCRIPTION}")
    foreach(setting IN ITEMS PREFIX SUFFIX OUTPUT VERSION DESCRIPTION)
        if(NOT DEFINED package_${setting})
            set(package_${setting} "${default_${setting}}")
        endif()
    endforeach()
    if(package_FILE)
        foreach(setting IN ITEMS VERSION ARCHITECTURE DESCRIPTION MAINTAINER SYSUSERS TMPFILES CHANGELOG DEPENDS
                SYSTEMD)
            if(${setting} IN_LIST ARGN)
                message(FATAL_ERROR "bex_add_package(${name}): ${setting} belongs in ${package_FILE}")
            endif()
        endforeach()
        cmake_path(ABSOLUTE_PATH package_FILE BASE_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}")
    endif()
    set(package_NAME "${name}")
    set(work "${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/package-${name}")
    set(settings "")
    get_property(tools GLOBAL PROPERTY bexToolsDirectory)
    foreach(setting IN ITEMS NAME FILE PREFIX VERSION ARCHITECTURE SUFFIX OUTPUT DESCRIPTION MAINTAINER SYSUSERS
            TMPFILES CHANGELOG COMPONENTS DEPENDS FIELDS CONFFILES SYSTEMD SCRIPTS OPTIONS STRIP DBGSYM)
        string(APPEND settings "set(package_${setting} [==[${package_${setting}}]==])\n")
    endforeach()
    file(GENERATE OUTPUT "${work}/settings.cmake" CONTENT "${settings}")
    add_custom_target(package-${name}
        COMMAND "${CMAKE_COMMAND}" "-DBEX=$<TARGET_FILE:bex::tool>" "-DSETTINGS=${work}/settings.cmake" "-DWORK=${work}"
            "-DBUILD=${CMAKE_BINARY_DIR}" "-DCONFIGURATION=$<CONFIG>" -P "${tools}/BexAddPackage.cmake"
        WORKING_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}"
        COMMENT "Packaging ${name}" VERBATIM)
    if(package_TARGETS)
        add_dependencies(package-${name} ${package_TARGETS})
    endif()
    if(NOT TARGET bex-packages)
        add_custom_target(bex-packages)
        # By then every target is known.
        cmake_language(DEFER DIRECTORY "${CMAKE_SOURCE_DIR}" CALL _bex_order_packages)
    endif()
    add_dependencies(bex-packages package-${name})
endfunction()

# Gives the programs and libraries that are built in a directory and below it.
function(_bex_built_targets directory result)
    set(found "")
    get_property(targets DIRECTORY "${directory}" PROPERTY BUILDSYSTEM_TARGETS)
    foreach(target IN LISTS targets)
        get_target_property(type ${target} TYPE)
        get_target_property(excluded ${target} EXCLUDE_FROM_ALL)
        if(type MATCHES "^(EXECUTABLE|(STATIC|SHARED|MODULE)_LIBRARY)$" AND NOT excluded)
            list(APPEND found ${target})
        endif()
    endforeach()
    get_property(subdirectories DIRECTORY "${directory}" PROPERTY SUBDIRECTORIES)
    foreach(subdirectory IN LISTS subdirectories)
        _bex_built_targets("${subdirectory}" below)
        list(APPEND found ${below})
    endforeach()
    set(${result} "${found}" PARENT_SCOPE)
endfunction()

function(_bex_order_packages)
    _bex_built_targets("${CMAKE_SOURCE_DIR}" built)
    get_target_property(packages bex-packages MANUALLY_ADDED_DEPENDENCIES)
    if(built)
        foreach(package IN LISTS packages)
            add_dependencies(${package} ${built})
        endforeach()
    endif()
endfunction()
