# A sanitizer has to see the whole process, so it is switched on for every target at once.
if(BEX_SANITIZE)
    add_compile_options(-fsanitize=${BEX_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${BEX_SANITIZE})
endif()
