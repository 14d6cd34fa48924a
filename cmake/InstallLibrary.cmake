# What a program needs to run, and what it needs to be built, are two components: a distribution's two packages.
# bex_install_library(TARGET [COMPONENT]): `runtime` is the component where none is given.
function(bex_install_library target)
    set(component runtime)
    if(ARGC GREATER 1)
        set(component ${ARGV1})
    endif()
    install(TARGETS ${target} EXPORT bexTargets
        LIBRARY COMPONENT ${component} NAMELINK_COMPONENT development
        FILE_SET HEADERS COMPONENT development)
endfunction()
