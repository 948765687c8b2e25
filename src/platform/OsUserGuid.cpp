#include "platform/OsUserGuid.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/Uuid.h"

std::uint32_t OsUserCoCreateGuid(_GUID* guid) {
    return Host::CreateUuid(guid->data) ? 0 : OSUSER_GUID_FAILED;
}

std::uint32_t OsCLSIDFromStringA(const char* text, _GUID* guid) {
    std::string plain = text;
    if (plain.size() > 2 && plain.front() == '{') {
        plain = plain.substr(1, plain.size() - 2);
    }
    return Host::UuidFromString(plain.c_str(), guid->data) ? 0 : OSUSER_GUID_FAILED;
}

std::uint32_t OsStringFromCLSIDA(const _GUID* guid, char** text) {
    std::string plain;
    if (!Host::UuidToString(guid->data, plain)) {
        return OSUSER_GUID_FAILED;
    }
    const std::size_t size = plain.size() + sizeof "{}";
    *text = static_cast<char*>(std::malloc(size));
    if (*text == nullptr) {
        return OSUSER_GUID_FAILED;
    }
    std::snprintf(*text, size, "{%s}", plain.c_str());
    return 0;
}
