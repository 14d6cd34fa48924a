# What a program needs to run with a library, and what it needs to be built, are two components of each library: a
# distribution's two packages.
function(bex_install_library target)
    install(TARGETS ${target} EXPORT ${target}Targets
        LIBRARY COMPONENT ${target} NAMELINK_COMPONENT ${target}-development
        FILE_SET HEADERS COMPONENT ${target}-development)
endfunction()
