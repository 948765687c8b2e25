#pragma once

#include <cstdint>
#include <string>

#include "platform/OsUserHandle.h"
#include "platform/OsUserTime.h"

// Open files and devices as handles. They cannot be waited on. Unless told otherwise the result is 1, or 0 with errno;
// a null handle or one of another kind gives EINVAL. What is not supported is said on standard error.

inline constexpr std::uint32_t OSUSER_GENERIC_READ = 0x80000000;
inline constexpr std::uint32_t OSUSER_GENERIC_WRITE = 0x40000000;

inline constexpr std::uint32_t OSUSER_SHARE_READ = 1;

inline constexpr std::uint32_t OSUSER_CREATE_NEW = 1;
inline constexpr std::uint32_t OSUSER_CREATE_ALWAYS = 2;
inline constexpr std::uint32_t OSUSER_OPEN_EXISTING = 3;
inline constexpr std::uint32_t OSUSER_OPEN_ALWAYS = 4;
inline constexpr std::uint32_t OSUSER_TRUNCATE_EXISTING = 5; // needs OSUSER_GENERIC_READ

inline constexpr std::uint32_t OSUSER_INVALID_FILE_SIZE = 0xFFFFFFFF;
inline constexpr std::uint32_t OSUSER_INVALID_SET_FILE_POINTER = 0xFFFFFFFF;

// 52 bytes without padding: reach the members by value, not through pointers.
struct __attribute__((packed)) _BY_HANDLE_FILE_INFORMATION {
    std::uint32_t dwFileAttributes;
    _FILETIME ftCreationTime;
    _FILETIME ftLastAccessTime;
    _FILETIME ftLastWriteTime;
    std::uint32_t dwVolumeSerialNumber; // 0, as are the last three
    std::uint32_t nFileSizeHigh;
    std::uint32_t nFileSizeLow;
    std::uint32_t nNumberOfLinks;
    std::uint32_t nFileIndexHigh;
    std::uint32_t nFileIndexLow;
};

static_assert(sizeof(_BY_HANDLE_FILE_INFORMATION) == 52);

// A handle, or null. `access` is OSUSER_GENERIC_READ, OSUSER_GENERIC_WRITE or anything else but 0 for both. The file is
// locked as a whole, shared with OSUSER_SHARE_READ, else exclusively; a lock that is held fails with EACCES. A name
// that starts with "\\.\" is a device's. `security` has no effect, a template is refused, and so are attributes other
// than 128.
_OsUserHandle* OsUserCreateFile(const char* name, std::uint32_t access, std::uint32_t shareMode, const void* security,
                                std::uint32_t disposition, std::uint32_t flagsAndAttributes,
                                _OsUserHandle* templateFile);

// A count of bytes is stored where the pointer is not null.
std::int32_t OsUserReadFile(_OsUserHandle* handle, void* buffer, std::uint32_t length, std::uint32_t* bytesRead,
                            void* overlapped);
std::int32_t OsUserWriteFile(_OsUserHandle* handle, const void* buffer, std::uint32_t length,
                             std::uint32_t* bytesWritten, void* overlapped);

// Ends the handle, also when the closing fails.
std::int32_t OsUserCloseFile(_OsUserHandle* handle);

// One request to a device of the manufacturer.
std::int32_t OsUserDeviceIoControl(_OsUserHandle* handle, std::uint32_t code, void* inBuffer, std::uint32_t inSize,
                                   void* outBuffer, std::uint32_t outSize, std::uint32_t* bytesReturned);

std::int32_t OsUserGetFileInformationByHandle(_OsUserHandle* handle, _BY_HANDLE_FILE_INFORMATION* information);

// The low word of the size, or OSUSER_INVALID_FILE_SIZE; the high word where `high` is not null.
std::uint32_t OsUserGetFileSize(_OsUserHandle* handle, std::uint32_t* high);

// Moves the position by 32 bits, or by 64 where `high` is not null; it then receives the high word of the new position.
// `method` is 0 from the start, 1 from the position, 2 from the end. The low word of the new position, or
// OSUSER_INVALID_SET_FILE_POINTER; where the low word looks the same, errno is 0.
std::uint32_t OsUserSetFilePointer(_OsUserHandle* handle, std::int32_t low, std::int32_t* high, std::uint32_t method);

// Cuts or extends the file to the present position.
std::int32_t OsUserSetEndOfFile(_OsUserHandle* handle);

// The device node's name below /dev for a device's name: serial ports count from 0 and have names of their own.
void check_and_translate_device(const char* name, std::string& out);
