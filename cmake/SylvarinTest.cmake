# sylvarin_test(NAME [CONCURRENCY] SOURCES file... [LIBRARIES target...])
#
# One GoogleTest program, each of its tests known to ctest by name. A thread sanitizer build holds only the programs
# marked CONCURRENCY: the others would run there a second time to no purpose.
find_package(GTest REQUIRED)
include(GoogleTest)

if(SYLVARIN_SANITIZE MATCHES "thread")
    set(SYLVARIN_TEST_PREFIX "tsan.")
else()
    set(SYLVARIN_TEST_PREFIX "")
endif()

function(sylvarin_test NAME)
    cmake_parse_arguments(arg "CONCURRENCY" "" "SOURCES;LIBRARIES" ${ARGN})
    if(SYLVARIN_SANITIZE MATCHES "thread" AND NOT arg_CONCURRENCY)
        return()
    endif()
    add_executable(${NAME} ${arg_SOURCES})
    target_link_libraries(${NAME} PRIVATE sylvarin_core sylvarin_options ${arg_LIBRARIES} GTest::gmock GTest::gtest_main)
    set(labels unit)
    if(arg_CONCURRENCY)
        list(APPEND labels concurrency)
    endif()
    gtest_discover_tests(${NAME}
        TEST_PREFIX "${SYLVARIN_TEST_PREFIX}"
        DISCOVERY_MODE PRE_TEST
        PROPERTIES LABELS "${labels}" TIMEOUT 120)
endfunction()
