#include "platform/OsUserGuid.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

std::string ToText(const _GUID& guid) {
    char* text = nullptr;
    EXPECT_EQ(OsStringFromCLSIDA(&guid, &text), 0u);
    const std::string copy = text != nullptr ? text : "";
    std::free(text);
    return copy;
}

TEST(OsUserGuidTest, CreatedIdentifiersDiffer) {
    _GUID first = {};
    _GUID second = {};
    EXPECT_EQ(OsUserCoCreateGuid(&first), 0u);
    EXPECT_EQ(OsUserCoCreateGuid(&second), 0u);
    EXPECT_NE(std::memcmp(&first, &second, sizeof first), 0);
}

TEST(OsUserGuidTest, TextIsAcceptedWithAndWithoutBraces) {
    for (const char* text : {"0f8fad5b-d9cb-469f-a165-70867728950e", "{0F8FAD5B-D9CB-469F-A165-70867728950E}"}) {
        _GUID guid = {};
        EXPECT_EQ(OsCLSIDFromStringA(text, &guid), 0u) << text;
        EXPECT_EQ(ToText(guid), "{0f8fad5b-d9cb-469f-a165-70867728950e}");
    }
}

TEST(OsUserGuidTest, LastCharacterIsDroppedWhateverItIs) {
    _GUID guid = {};
    EXPECT_EQ(OsCLSIDFromStringA("{0f8fad5b-d9cb-469f-a165-70867728950ex", &guid), 0u);
    EXPECT_EQ(ToText(guid), "{0f8fad5b-d9cb-469f-a165-70867728950e}");
}

TEST(OsUserGuidTest, TextThatIsNoIdentifierFails) {
    _GUID guid = {};
    for (const char* text : {"{}", "{", "{x}", "0f8fad5b", "0f8fad5b-d9cb-469f-a165-70867728950g",
                             "0f8fad5b-d9cb-469f-a165-70867728950e}"}) {
        EXPECT_EQ(OsCLSIDFromStringA(text, &guid), 0x80004005u) << text;
    }
}

} // namespace
