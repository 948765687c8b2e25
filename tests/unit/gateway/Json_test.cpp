#include "Json.h"

#include <gtest/gtest.h>

namespace Gateway {
namespace {

TEST(GatewayJson, IsWrittenAsItWasBuilt) {
    const Json json{{"number", 5}, {"missing", Json()}, {"list", Json::Array()}, {"text", "a\"<\n"}, {"yes", true}};
    EXPECT_EQ(json.Written(), R"({"number":5,"missing":null,"list":[],"text":"a\"<\n","yes":true})");
}

TEST(GatewayJson, ReplacesWhatIsNotUtf8) {
    EXPECT_EQ(Json("a\xFF").Written(), "\"a\xEF\xBF\xBD\"");
}

TEST(GatewayJson, AValueThatIsNotThereIsNull) {
    EXPECT_EQ(Json(std::optional<std::string>()).Written(), "null");
    EXPECT_EQ(Json(std::optional<bool>(false)).Written(), "false");
}

TEST(GatewayJson, IsParsed) {
    const auto json = Json::Parse(R"({"old": {"hex": "00ff"}, "new": -3.5, "list": [1, null, 18446744073709551615]})");
    ASSERT_TRUE(json);
    EXPECT_EQ(json->Written(), R"({"old":{"hex":"00ff"},"new":-3.5,"list":[1,null,18446744073709551615]})");
    EXPECT_EQ(json->Find("none"), nullptr);
    EXPECT_EQ(Json(5).Find("old"), nullptr);
}

TEST(GatewayJson, RefusesWhatIsNoJson) {
    for (const char* text : {"", "{", "{\"a\":}", "1 2", "nul", "\"\xFF\"", "{\"a\":1,}"}) {
        EXPECT_FALSE(Json::Parse(text)) << text;
    }
}

TEST(GatewayJson, RefusesDeepNesting) {
    EXPECT_TRUE(Json::Parse(std::string(5, '[') + std::string(5, ']')));
    EXPECT_FALSE(Json::Parse(std::string(60000, '[') + std::string(60000, ']')));
}

} // namespace
} // namespace Gateway
