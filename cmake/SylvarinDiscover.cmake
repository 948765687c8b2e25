# sylvarin_discover_tests(TARGET [EACH suites] [LAUNCHER program] [PREFIX text] PROPERTIES NAME value...)
#
# What a GoogleTest program holds becomes known to ctest: one entry a suite, since a program with sanitizers takes longer
# to start than most tests to run; one a test in the suites whose names match EACH, a regular expression: their tests must
# not see what another one left behind. A LAUNCHER is put in front of what is run.
include_guard()

function(sylvarin_discover_tests TARGET)
    cmake_parse_arguments(arg "" "EACH;LAUNCHER;PREFIX" "PROPERTIES" ${ARGN})
    list(JOIN arg_PROPERTIES " " properties)
    # The program is asked when ctest starts, if it is newer than its last answer. A new configuration asks anew.
    set(script ${CMAKE_CURRENT_BINARY_DIR}/${TARGET}-discover.cmake)
    set(entries ${CMAKE_CURRENT_BINARY_DIR}/${TARGET}-entries.cmake)
    file(REMOVE ${entries})
    file(GENERATE OUTPUT ${script} CONTENT "\
include([==[${PROJECT_SOURCE_DIR}/cmake/ListTests.cmake]==])
sylvarin_list_tests([==[${entries}]==] [==[$<TARGET_FILE:${TARGET}>]==] [==[${arg_LAUNCHER}]==] [==[${arg_PREFIX}]==]
    [==[${arg_EACH}]==] [==[${properties}]==])
")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${script})
endfunction()
