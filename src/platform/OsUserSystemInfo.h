#pragma once

#include <cstdint>

struct _OSVERSIONINFOA {
    std::uint32_t dwOSVersionInfoSize; // 148
    std::uint32_t dwMajorVersion;
    std::uint32_t dwMinorVersion;
    std::uint32_t dwBuildNumber; // 0
    std::uint32_t dwPlatformId;  // 0
    char szCSDVersion[128];
};

static_assert(sizeof(_OSVERSIONINFOA) == 148);

struct _SYSTEM_INFO {
    std::uint32_t dwProcessorArchitecture; // 9, amd64
    std::uint32_t dwPageSize;
    void* lpMinimumApplicationAddress; // null
    void* lpMaximumApplicationAddress; // null
    std::uint32_t dwActiveProcessorMask;
    std::uint32_t dwNumberOfProcessors;
    unsigned char reserved[12]; // 0
};

// The operating system's version; both numbers are 0 when it cannot be told. Always 1.
std::int32_t OsUserGetVersionInfo(_OSVERSIONINFOA* info);

// Page size and processors; the mask has one bit per online processor, 32 at most. Null is allowed.
void OsUserGetSystemInfo(_SYSTEM_INFO* info);

// The number of processor cores that the kernel counted at its start; false when its messages do not tell.
bool SearchCoresInDmesgBoot(long& cores);
