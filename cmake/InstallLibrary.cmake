# What a program needs to run, and what it needs to be built, are two components: a distribution's two packages.
function(bex_install_library target)
    install(TARGETS ${target} EXPORT bexTargets
        LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
        FILE_SET HEADERS COMPONENT development)
endfunction()
