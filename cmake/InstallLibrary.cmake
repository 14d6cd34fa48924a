# An installed program finds the libraries of its own prefix, wherever that is moved: by a path from its own place.
# Absolute install directories tie it to them. A distribution's packages go without (CMAKE_SKIP_INSTALL_RPATH).
set(bexLibraryRunPath "$ORIGIN")
cmake_path(IS_ABSOLUTE CMAKE_INSTALL_BINDIR bexFixedBindir)
cmake_path(IS_ABSOLUTE CMAKE_INSTALL_LIBDIR bexFixedLibdir)
if(bexFixedBindir OR bexFixedLibdir)
    set(bexProgramRunPath ${CMAKE_INSTALL_FULL_LIBDIR})
else()
    file(RELATIVE_PATH bexLibdirFromBindir /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})
    set(bexProgramRunPath "$ORIGIN/${bexLibdirFromBindir}")
endif()

# What a program needs to run with a library, and what it needs to be built, are two components of each library: a
# distribution's two packages.
function(bex_install_library target)
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "${bexLibraryRunPath}")
    install(TARGETS ${target} EXPORT ${target}Targets
        LIBRARY COMPONENT ${target} NAMELINK_COMPONENT ${target}-development
        FILE_SET HEADERS COMPONENT ${target}-development)
endfunction()

# bex_add_objects(TARGET SOURCE...): object files that are linked into a library and, for what it does not export, into
# its tests and fuzz targets.
function(bex_add_objects target)
    add_library(${target} OBJECT ${ARGN})
    target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
    target_compile_features(${target} PUBLIC cxx_std_17)
    target_link_libraries(${target} PRIVATE bex_warnings)
    set_target_properties(${target} PROPERTIES
        POSITION_INDEPENDENT_CODE ON
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
endfunction()

# bex_add_loaded_library(NAME HEADER...): the library bex::NAME of the target bexNAME_objects, with its public headers.
# The command loads it when a verb needs it, so it is shared in every build. It takes from bex::stream what that
# exports, before anything that is linked later.
function(bex_add_loaded_library name)
    set(target bex${name})
    list(TRANSFORM ARGN PREPEND ${PROJECT_SOURCE_DIR}/include/bex/${name}/)
    add_library(${target} SHARED $<TARGET_OBJECTS:${target}_objects>)
    add_library(bex::${name} ALIAS ${target})
    target_sources(${target} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR}/include FILES ${ARGN})
    target_compile_features(${target} PUBLIC cxx_std_17)
    target_link_libraries(${target} PUBLIC bex::stream PRIVATE $<BUILD_INTERFACE:bex_warnings>)
    set_target_properties(${target} PROPERTIES
        LINKER_LANGUAGE CXX
        EXPORT_NAME ${name}
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR})
    bex_install_library(${target})
endfunction()
