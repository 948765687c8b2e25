#pragma once

#include <cstdint>

#include "platform/OsUserTime.h"

// Search for files by a pattern with shell wildcards.

// 318 bytes without padding: reach the members by value, not through pointers.
struct __attribute__((packed)) _WIN32_FIND_DATAA {
    std::uint32_t dwFileAttributes; // as of OsUserGetFileAttributes
    _FILETIME ftCreationTime;
    _FILETIME ftLastAccessTime;
    _FILETIME ftLastWriteTime;
    std::uint32_t nFileSizeHigh;
    std::uint32_t nFileSizeLow;
    std::uint32_t dwReserved0;
    std::uint32_t dwReserved1;
    char cFileName[260]; // without its directory
    char cAlternateFileName[14];
};

static_assert(sizeof(_WIN32_FIND_DATAA) == 318);

// A search that is under way; ended by OsUserFindClose.
struct TFindHandle;

// Starts a search and delivers its first entry, in sorted order. Null when there is none. A pattern without a wildcard
// gives the file of that path. Backslashes count as slashes.
TFindHandle* OsUserFindFirstFile(const char* pattern, _WIN32_FIND_DATAA* findData);

// Delivers the next entry: 1, or 0 at the end. An entry that cannot be asked for its state, such as a dangling link,
// ends the list.
std::int32_t OsUserFindNextFile(TFindHandle* handle, _WIN32_FIND_DATAA* findData);

// 0 for null, else 1.
std::int32_t OsUserFindClose(TFindHandle* handle);
