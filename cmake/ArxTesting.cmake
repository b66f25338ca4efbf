find_package(GTest REQUIRED)
include(GoogleTest)

# Every test executable gets one label: unit, death or concurrency.
# The concurrency ones are gathered under one target so that the ThreadSanitizer preset builds
# only them.
if(NOT TARGET arx_concurrency_tests)
    add_custom_target(arx_concurrency_tests)
endif()

# Seconds a single test may run before CTest stops it and counts it failed, so that a runaway
# loop fails at once instead of growing memory for minutes. The slowest test of the suite takes
# about two seconds, sanitized, on a busy two-core machine; a longer one (a soak) passes its own
# TIMEOUT.
set(ARX_TEST_TIMEOUT 10)

function(arx_add_test name)
    cmake_parse_arguments(ARG "" "LABEL;TIMEOUT" "SOURCES;LIBS" ${ARGN})
    if(NOT ARG_LABEL)
        set(ARG_LABEL unit)
    endif()
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT ${ARX_TEST_TIMEOUT})
    endif()
    add_executable(${name} ${ARG_SOURCES})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
    target_link_libraries(${name} PRIVATE ${ARG_LIBS} GTest::gmock GTest::gtest_main Threads::Threads)
    arx_warnings(${name})
    gtest_discover_tests(${name}
        DISCOVERY_MODE PRE_TEST
        PROPERTIES LABELS ${ARG_LABEL} TIMEOUT ${ARG_TIMEOUT})
    if(ARG_LABEL STREQUAL "concurrency")
        add_dependencies(arx_concurrency_tests ${name})
    endif()
endfunction()
