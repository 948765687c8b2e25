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
    add_compile_options(-fsanitize=${SYLVARIN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
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
    # What was compiled with a precompiled header is of no use to another checkout. (And so both ways are built somewhere.)
    set(CMAKE_DISABLE_PRECOMPILE_HEADERS ON)
endif()

if(CMAKE_SYSTEM_NAME STREQUAL "FreeBSD")
    # clang 14 loses what FreeBSD's va_list is in a precompiled header.
    set(CMAKE_DISABLE_PRECOMPILE_HEADERS ON)
endif()

# sylvarin_quick_to_build(TARGET): for code that takes longer to compile than all that it will do. What most of its files
# include is compiled once, and a build with sanitizers does not optimise it.
function(sylvarin_quick_to_build TARGET)
    target_precompile_headers(${TARGET} PRIVATE
        <algorithm> <array> <cerrno> <chrono> <cstdint> <functional> <map> <memory> <optional> <ostream> <string>
        <string_view> <utility> <vector>)
    if(SYLVARIN_SANITIZE)
        target_compile_options(${TARGET} PRIVATE -O0)
    endif()
endfunction()

# The fastest linker that is there; a sanitizer build links dozens of programs.
find_program(SYLVARIN_LLD ld.lld)
if(SYLVARIN_LLD AND SYLVARIN_SANITIZE AND NOT CMAKE_CROSSCOMPILING)
    # The library of the language first: lld would take what is missing of it from a file of ours that has a copy, and
    # with that file what a test stands in for.
    add_link_options(-fuse-ld=lld -lstdc++)
endif()
