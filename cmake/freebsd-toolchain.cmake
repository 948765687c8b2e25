# Cross build for FreeBSD 13.2 (amd64) with clang and lld against an unpacked FreeBSD base system, whose directory is
# told by the cache variable or the environment variable SYLVARIN_FREEBSD_SYSROOT. Libraries outside the base system are
# looked for under SYLVARIN_FREEBSD_PREFIX, which scripts/freebsd-cross fills.
set(CMAKE_SYSTEM_NAME FreeBSD)
set(CMAKE_SYSTEM_VERSION 13.2)
set(CMAKE_SYSTEM_PROCESSOR amd64)

if(NOT SYLVARIN_FREEBSD_SYSROOT)
    set(SYLVARIN_FREEBSD_SYSROOT "$ENV{SYLVARIN_FREEBSD_SYSROOT}")
endif()
if(NOT EXISTS "${SYLVARIN_FREEBSD_SYSROOT}/usr/include/sys/param.h")
    message(FATAL_ERROR "SYLVARIN_FREEBSD_SYSROOT is not the directory of a FreeBSD base system: "
        "'${SYLVARIN_FREEBSD_SYSROOT}'")
endif()
set(SYLVARIN_FREEBSD_SYSROOT "${SYLVARIN_FREEBSD_SYSROOT}" CACHE PATH "A FreeBSD 13.2 base system")
if(NOT SYLVARIN_FREEBSD_PREFIX)
    set(SYLVARIN_FREEBSD_PREFIX "${CMAKE_BINARY_DIR}/_deps/prefix")
endif()
# The compiler checks of CMake are projects of their own, in other directories.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES SYLVARIN_FREEBSD_SYSROOT SYLVARIN_FREEBSD_PREFIX)

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET x86_64-unknown-freebsd13.2)
set(CMAKE_CXX_COMPILER_TARGET x86_64-unknown-freebsd13.2)
set(CMAKE_SYSROOT "${SYLVARIN_FREEBSD_SYSROOT}")
set(CMAKE_CXX_FLAGS_INIT "-stdlib=libc++")
foreach(kind EXE SHARED MODULE)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld")
endforeach()

set(CMAKE_FIND_ROOT_PATH "${SYLVARIN_FREEBSD_PREFIX}" "${SYLVARIN_FREEBSD_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
