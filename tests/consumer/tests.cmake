# Programs of somebody else, built against what an install leaves behind. A sanitizer has to see the whole process.
set(consumerPrefix ${CMAKE_CURRENT_BINARY_DIR}/consumer-prefix)
add_test(NAME consumer.install COMMAND ${CMAKE_COMMAND} --install ${PROJECT_BINARY_DIR} --prefix ${consumerPrefix})
set_tests_properties(consumer.install PROPERTIES FIXTURES_SETUP consumerPrefix)

set(consumerFlags "")
if(BEX_SANITIZE)
    set(consumerFlags "-fsanitize=${BEX_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all")
endif()
foreach(way IN ITEMS cmake pkg-config moved)
    add_test(NAME consumer.${way}
        COMMAND ${CMAKE_CURRENT_LIST_DIR}/run.sh
            ${way} ${consumerPrefix} ${CMAKE_INSTALL_LIBDIR} ${CMAKE_CXX_COMPILER} "${consumerFlags}")
    set_tests_properties(consumer.${way} PROPERTIES FIXTURES_REQUIRED consumerPrefix)
endforeach()
add_test(NAME consumer.packages
    COMMAND ${CMAKE_CURRENT_LIST_DIR}/packages.sh ${consumerPrefix} ${CMAKE_INSTALL_DATADIR})
set_tests_properties(consumer.packages PROPERTIES FIXTURES_REQUIRED consumerPrefix)
