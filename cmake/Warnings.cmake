# Warnings are ours alone: the target is linked privately and never exported.
add_library(bex_warnings INTERFACE)
target_compile_options(bex_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow $<$<BOOL:${BEX_WERROR}>:-Werror>)
