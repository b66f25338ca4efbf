# Warnings are errors in our own code; third-party headers come in as SYSTEM and stay quiet.
function(arx_warnings target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast
        -Wcast-align -Woverloaded-virtual -Wimplicit-fallthrough -Werror)
    # GCC 12 at -O2 and above reports overlapping copies inside the standard library's own
    # string concatenation ("#" + std::to_string(n)), which cannot happen; the check is wrong
    # for that compiler only, so only it goes without.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
        target_compile_options(${target} PRIVATE -Wno-restrict)
    endif()
endfunction()

# A static library of one subsystem folder; every folder's sources see the tree from src/.
function(arx_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${name} PUBLIC ${ARG_DEPS})
    arx_warnings(${name})
endfunction()
