#include "host/Uuid.h"

#include <uuid/uuid.h>

namespace Host {

bool CreateUuid(unsigned char (&uuid)[16]) {
    uuid_generate(uuid);
    return true;
}

bool UuidFromString(const char* text, unsigned char (&uuid)[16]) {
    return uuid_parse(text, uuid) == 0;
}

bool UuidToString(const unsigned char (&uuid)[16], std::string& text) {
    char unparsed[UUID_STR_LEN];
    uuid_unparse_lower(uuid, unparsed);
    text = unparsed;
    return true;
}

} // namespace Host
