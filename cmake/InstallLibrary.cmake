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
