# Compiler settings that every target of the tree shares, as one interface target.
add_library(sylvarin_options INTERFACE)
target_compile_features(sylvarin_options INTERFACE cxx_std_20)
target_compile_options(sylvarin_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    $<$<BOOL:${SYLVARIN_WERROR}>:-Werror>)

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(SYLVARIN_SANITIZE)
    # recover=none: a finding ends the program, so that a test cannot pass over it.
    add_compile_options(-fsanitize=${SYLVARIN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g)
    add_link_options(-fsanitize=${SYLVARIN_SANITIZE})
endif()

if(SYLVARIN_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

find_program(SYLVARIN_CCACHE ccache)
if(SYLVARIN_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    # Paths count relative to the checkout, so that every checkout of this machine finds what another one compiled.
    set(CMAKE_CXX_COMPILER_LAUNCHER
        ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${SYLVARIN_CCACHE})
    set(CMAKE_C_COMPILER_LAUNCHER ${CMAKE_CXX_COMPILER_LAUNCHER})
endif()
