find_package(GTest REQUIRED)
include(GoogleTest)

# Every test executable gets one label: unit, death or concurrency.
# The concurrency ones are gathered under one target so that the ThreadSanitizer preset builds
# only them.
if(NOT TARGET arx_concurrency_tests)
    add_custom_target(arx_concurrency_tests)
endif()

function(arx_add_test name)
    cmake_parse_arguments(ARG "" "LABEL" "SOURCES;LIBS" ${ARGN})
    if(NOT ARG_LABEL)
        set(ARG_LABEL unit)
    endif()
    add_executable(${name} ${ARG_SOURCES})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
    target_link_libraries(${name} PRIVATE ${ARG_LIBS} GTest::gmock GTest::gtest_main Threads::Threads)
    arx_warnings(${name})
    gtest_discover_tests(${name}
        DISCOVERY_MODE PRE_TEST
        PROPERTIES LABELS ${ARG_LABEL})
    if(ARG_LABEL STREQUAL "concurrency")
        add_dependencies(arx_concurrency_tests ${name})
    endif()
endfunction()
