# What bex_add_package() and BexCPack share: build files for trees that CMake has installed.

# _bex_quoted(TEXT RESULT): the text as a double-quoted scalar of YAML in which bex expands no variable.
function(_bex_quoted text result)
    string(REPLACE "\\" "\\\\" text "${text}")
    string(REPLACE "\"" "\\\"" text "${text}")
    string(REPLACE "\n" "\\n" text "${text}")
    string(REPLACE "$" "$$" text "${text}")
    set(${result} "\"${text}\"" PARENT_SCOPE)
endfunction()

# _bex_trees(RESULT TREE...): the lines of a build file that package these directories as they are.
function(_bex_trees result)
    set(lines "contents:\n")
    foreach(tree IN LISTS ARGN)
        string(REPLACE "\\" "\\\\" tree "${tree}")
        string(REPLACE "\"" "\\\"" tree "${tree}")
        string(APPEND lines "  - { src: \"${tree}\", dst: /, type: tree, expand: false }\n")
    endforeach()
    set(${result} "${lines}" PARENT_SCOPE)
endfunction()

# _bex_key(RESULT KEY TEXT): the line "KEY: TEXT", or nothing where the text is empty.
function(_bex_key result key text)
    set(${result} "" PARENT_SCOPE)
    if(NOT text STREQUAL "")
        _bex_quoted("${text}" text)
        set(${result} "${key}: ${text}\n" PARENT_SCOPE)
    endif()
endfunction()

# _bex_list(RESULT KEY TEXT...): the line "KEY: [TEXT, ...]", or nothing where there is no text.
function(_bex_list result key)
    set(texts "")
    foreach(text IN LISTS ARGN)
        _bex_quoted("${text}" text)
        list(APPEND texts "${text}")
    endforeach()
    list(JOIN texts ", " texts)
    set(${result} "" PARENT_SCOPE)
    if(NOT texts STREQUAL "")
        set(${result} "${key}: [${texts}]\n" PARENT_SCOPE)
    endif()
endfunction()
