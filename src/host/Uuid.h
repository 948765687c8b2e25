#pragma once

#include <string>

// Universally unique identifiers, as 16 bytes in the system's own form. The operations give false when they fail.
namespace Host {

bool CreateUuid(unsigned char (&uuid)[16]);

// From the form 01234567-89ab-cdef-0123-456789abcdef, in letters of either case.
bool UuidFromString(const char* text, unsigned char (&uuid)[16]);

// In small letters.
bool UuidToString(const unsigned char (&uuid)[16], std::string& text);

} // namespace Host
