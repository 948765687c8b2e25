# sylvarin_test(NAME [CONCURRENCY] SOURCES file... [LIBRARIES target...] [DEFINITIONS NAME=value...])
#
# One GoogleTest program, each of its suites known to ctest by name. A thread sanitizer build holds only the programs
# marked CONCURRENCY: the others would run there a second time to no purpose.
find_package(GTest REQUIRED)
include(SylvarinDiscover)

# All test programs of the preset.
add_custom_target(suite)

# What a test costs is the time to compile it: its own code is not optimised, and the headers that nearly all tests
# include are compiled once. The flags of position independence are the same for programs and libraries: the
# precompiled headers demand it.
function(sylvarin_test_code TARGET)
    set_target_properties(${TARGET} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
    target_compile_options(${TARGET} PRIVATE -O0)
    target_link_libraries(${TARGET} PRIVATE sylvarin_options GTest::gmock)
    if(NOT ${TARGET} STREQUAL sylvarin_test_headers)
        target_precompile_headers(${TARGET} REUSE_FROM sylvarin_test_headers)
    endif()
endfunction()


if(SYLVARIN_SANITIZE MATCHES "thread")
    set(SYLVARIN_TEST_PREFIX "tsan.")
else()
    set(SYLVARIN_TEST_PREFIX "")
endif()

function(sylvarin_test NAME)
    cmake_parse_arguments(arg "CONCURRENCY" "" "SOURCES;LIBRARIES;DEFINITIONS" ${ARGN})
    if(SYLVARIN_SANITIZE MATCHES "thread" AND NOT arg_CONCURRENCY)
        return()
    endif()
    add_executable(${NAME} ${arg_SOURCES})
    sylvarin_test_code(${NAME})
    add_dependencies(suite ${NAME})
    target_link_libraries(${NAME} PRIVATE sylvarin_core ${arg_LIBRARIES} GTest::gtest_main)
    target_compile_definitions(${NAME} PRIVATE ${arg_DEFINITIONS})
    set(label unit)
    if(arg_CONCURRENCY)
        set(label unit-concurrency)
    endif()
    set(each "")
    if(SYLVARIN_SANITIZE MATCHES "thread")
        set(each ".*") # a thread that nobody waits for may outlive its test, and the next one's set-up would race with it
    endif()
    sylvarin_discover_tests(${NAME} EACH "${each}" PREFIX "${SYLVARIN_TEST_PREFIX}" PROPERTIES LABELS ${label} TIMEOUT 600)
endfunction()

# sylvarin_machine_test(NAME [EACH suites] SOURCES file... [LIBRARIES target...])
#
# The same, but each suite runs as root of a throw-away machine of its own, and may change what it likes there; in suites
# whose names match EACH, a regular expression, each test has one. Where no machine can be had, such as without root, the
# tests are reported as skipped.
function(sylvarin_machine_test NAME)
    cmake_parse_arguments(arg "" "EACH" "SOURCES;LIBRARIES" ${ARGN})
    if(SYLVARIN_SANITIZE MATCHES "thread")
        return()
    endif()
    add_executable(${NAME} ${arg_SOURCES})
    sylvarin_test_code(${NAME})
    add_dependencies(suite ${NAME})
    target_link_libraries(${NAME} PRIVATE sylvarin_core ${arg_LIBRARIES} GTest::gtest_main)
    sylvarin_discover_tests(${NAME} EACH "${arg_EACH}" LAUNCHER ${PROJECT_SOURCE_DIR}/tests/machine/machine
        PROPERTIES LABELS machine TIMEOUT 600 SKIP_RETURN_CODE 77)
endfunction()
