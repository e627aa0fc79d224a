# The options of every target.

add_library(tovalink_options INTERFACE)
target_include_directories(tovalink_options INTERFACE
    ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR})
target_compile_options(tovalink_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow)
if(TOVALINK_WERROR)
    target_compile_options(tovalink_options INTERFACE -Werror)
endif()
if(TOVALINK_SANITIZE)
    set(sanitizers -fsanitize=address,undefined -fno-sanitize-recover=undefined
                   -fno-omit-frame-pointer)
    target_compile_options(tovalink_options INTERFACE ${sanitizers})
    target_link_options(tovalink_options INTERFACE ${sanitizers})
endif()

# tovalink_folder(<name> [MOC] SOURCES ... USES <libraries>): makes a folder a library. MOC is for
# folders with classes that have signals or slots. Headers are not listed; the compiler finds them.
function(tovalink_folder name)
    cmake_parse_arguments(ARG "MOC" "" "SOURCES;USES" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    set_target_properties(${name} PROPERTIES AUTOMOC ${ARG_MOC})
    target_link_libraries(${name} PUBLIC tovalink_options ${ARG_USES})
endfunction()
