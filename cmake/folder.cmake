# One object library for each folder of the library, and the rule that includes run downwards only.

add_library(tarnwillow_options INTERFACE)
target_compile_options(tarnwillow_options INTERFACE -Wall -Wextra -Wpedantic
    # Exported functions may be inlined, and are called directly, within the library.
    -fno-semantic-interposition
    # A symbol that is unique in the process would keep the library from being unloaded.
    $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
if(TARNWILLOW_WERROR)
    target_compile_options(tarnwillow_options INTERFACE -Werror)
endif()
target_include_directories(tarnwillow_options INTERFACE ${PROJECT_SOURCE_DIR})

# A file may include its own folder and those named behind MAY_INCLUDE.
function(tarnwillow_check_includes folder allowed)
    foreach(source IN LISTS ARGN)
        file(STRINGS ${source} lines REGEX "^#include \"tarnwillow/[a-z]+/")
        foreach(line IN LISTS lines)
            string(REGEX REPLACE "^#include \"tarnwillow/([a-z]+)/.*" "\\1" used "${line}")
            if(NOT used IN_LIST allowed AND NOT used STREQUAL folder)
                message(FATAL_ERROR "${source} includes ${used}/, which is not below ${folder}/")
            endif()
        endforeach()
    endforeach()
endfunction()

# tarnwillow_folder(NAME SOURCES a.cpp ... [MAY_INCLUDE below ...])
function(tarnwillow_folder folder)
    cmake_parse_arguments(arg "" "" "SOURCES;MAY_INCLUDE" ${ARGN})
    add_library(tarnwillow_${folder} OBJECT ${arg_SOURCES})
    target_link_libraries(tarnwillow_${folder} PRIVATE tarnwillow_options)
    set_target_properties(tarnwillow_${folder} PROPERTIES
        POSITION_INDEPENDENT_CODE ON
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
    file(GLOB headers ${CMAKE_CURRENT_SOURCE_DIR}/*.h) # for the include check only
    get_target_property(sources tarnwillow_${folder} SOURCES)
    tarnwillow_check_includes(${folder} "${arg_MAY_INCLUDE}" ${sources} ${headers})
endfunction()
