#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <ctime>

#include "platform/OsUserFile.h"
#include "platform/OsUserTime.h"

// Puts what is known of a file into one of the packed records: attribute word, the three times and the size.
template <typename Record>
void FillFileRecord(Record& record, const struct stat& status, const timespec& birthTime) {
    const auto size = static_cast<std::uint64_t>(status.st_size);
    record.dwFileAttributes = OsUserGetFileAttributesInternal(status);
    record.ftCreationTime = Timespec2FileTime(birthTime);
    record.ftLastAccessTime = Timespec2FileTime(status.st_atim);
    record.ftLastWriteTime = Timespec2FileTime(status.st_mtim);
    record.nFileSizeHigh = static_cast<std::uint32_t>(size >> 32);
    record.nFileSizeLow = static_cast<std::uint32_t>(size);
}
