#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>

// Files by their paths, which may be spelled with backslashes and runs of slashes. Unless told otherwise the result is
// 1, or 0 with errno.

// Attribute words.
inline constexpr std::uint32_t OSUSER_ATTRIBUTE_DIRECTORY = 16;
inline constexpr std::uint32_t OSUSER_ATTRIBUTE_NORMAL = 128;
inline constexpr std::uint32_t OSUSER_ATTRIBUTE_OTHER = 0xFFFFFFFF; // neither directory nor regular file
inline constexpr std::uint32_t OSUSER_ATTRIBUTE_FAILED = 0xFFFFFFFF;

// Bit of the flags of OsUserMoveFile.
inline constexpr std::uint32_t OSUSER_MOVE_REPLACE_EXISTING = 1;

// fopen without waiting: a pipe or device that has no data now reads as its end, one that nobody reads is not opened
// for writing. "a+" starts to read at the start of the file. Null on failure.
std::FILE* os_fopen(const char* path, const char* mode);

// The plain results of mkdir and rmdir.
int os_mkdir(const char* path, mode_t mode);
int os_rmdir(const char* path);

std::int32_t OsUserDeleteFile(const char* path);
std::int32_t OsUserCreateDirectory(const char* path);
std::int32_t OsUserRemoveDirectory(const char* path);
std::int32_t OsUserGetCurrentDirectory(std::size_t size, char* buffer);

// The attribute word, or OSUSER_ATTRIBUTE_FAILED. Symbolic links are followed.
std::uint32_t OsUserGetFileAttributes(const char* path);
std::uint32_t OsUserGetFileAttributesInternal(const struct stat& status);

// 1 for an existing regular file only, not for a directory.
std::int32_t OsUserPathFileExists(const char* path);

// Without OSUSER_MOVE_REPLACE_EXISTING refuses with EEXIST to replace a regular file; whatever else is left to rename.
std::int32_t OsUserMoveFile(const char* source, const char* destination, std::uint32_t flags);

// Copies contents, of a pipe or device what it has now, and the mode without setuid and setgid; a copy that failed
// leaves the partial destination in place.
std::int32_t OsUserCopyFile(const char* source, const char* destination, std::int32_t failIfExists);
