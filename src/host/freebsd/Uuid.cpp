#include "host/Uuid.h"

#include <uuid.h>

#include <cstdlib>
#include <cstring>

namespace Host {

bool CreateUuid(unsigned char (&uuid)[16]) {
    uuid_t created;
    std::uint32_t status;
    uuid_create(&created, &status);
    std::memcpy(uuid, &created, sizeof uuid);
    return status == uuid_s_ok;
}

bool UuidFromString(const char* text, unsigned char (&uuid)[16]) {
    uuid_t parsed;
    std::uint32_t status;
    uuid_from_string(text, &parsed, &status);
    std::memcpy(uuid, &parsed, sizeof uuid);
    return status == uuid_s_ok;
}

bool UuidToString(const unsigned char (&uuid)[16], std::string& text) {
    uuid_t source;
    std::memcpy(&source, uuid, sizeof source);
    char* unparsed = nullptr;
    std::uint32_t status;
    uuid_to_string(&source, &unparsed, &status);
    if (status != uuid_s_ok) {
        return false;
    }
    text = unparsed;
    std::free(unparsed);
    return true;
}

} // namespace Host
