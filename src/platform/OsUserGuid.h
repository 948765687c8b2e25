#pragma once

#include <cstdint>

// An identifier in the system's own form.
struct _GUID {
    unsigned char data[16];
};

// Failure of the functions below; 0 is success.
inline constexpr std::uint32_t OSUSER_GUID_FAILED = 0x80004005;

std::uint32_t OsUserCoCreateGuid(_GUID* guid);

// From the form 01234567-89ab-cdef-0123-456789abcdef, with braces around it or without.
std::uint32_t OsCLSIDFromStringA(const char* text, _GUID* guid);

// Gives the form with braces, in memory from malloc that the caller frees.
std::uint32_t OsStringFromCLSIDA(const _GUID* guid, char** text);
