#include "mdp/Codes.h"

#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::HasSubstr;

TEST(Codes, EveryCodeHasItsNameAndAnExplanationOfItsOwn) {
    const std::pair<Mdp::Code, const char*> codes[] = {
        {0, "OBJ_E_NOERR"},
        {0xECA60001, "OBJ_E_FAILED"},
        {0xECA60100, "OBJ_E_INVALIDIDX"},
        {0xECA60101, "OBJ_E_INVALACCESS"},
        {0xECA60102, "OBJ_E_BUFFERTOOSMALL"},
        {0xECA60103, "OBJ_E_INVALIDSIZE"},
        {0xECA60104, "OBJ_E_OUTOFMEMORY"},
        {0xECA60105, "OBJ_E_NODATA"},
        {0xECA60106, "OBJ_E_INVALIDDATA"},
        {0xECA60107, "OBJ_E_INVALIDARG"},
        {0xECA60108, "OBJ_E_OUTOFRANGE"},
        {0xECA60200, "OBJ_E_BUSY"},
        {0xECA60F00, "OBJ_E_NOTIMPL"},
        {0xECA60FFF, "OBJ_E_UNEXPECTED"},
        {0xECA61000, "OBJ_E_NOTSUPPORTED"},
        {0xECA70000, "OBJ_E_OS_BASE"},
        {0xECA80000, "OBJ_E_EXT_BASE"},
        {0xECA80FFF, "OBJ_E_EXT_BASE+0xFFF"},
        {0xECA81000, "OBJ_E_EXT_BASE+0x1000"},
        {0xECAF0401, "OBJ_E_USEREXISTS"},
        {0xECAF0402, "OBJ_E_NOSUCHUSER"},
        {0xECAF0403, "OBJ_E_GROUPEXISTS"},
        {0xECAF0404, "OBJ_E_NOSUCHGROUP"},
        {0xECAF0420, "OBJ_E_ROUTEPORT"},
        {0xECAF0421, "OBJ_E_PORTCLOSED"},
        {0xECAF0701, "OBJ_E_NOFLASHDATA"},
        {0xECAF0702, "OBJ_E_NOHDDDATA"},
    };
    std::set<std::string> texts;
    for (const auto& [code, name] : codes) {
        EXPECT_EQ(Mdp::CodeName(code), name);
        EXPECT_NE(Mdp::CodeText(code), Mdp::CodeText(0xECA6DEAD));
        EXPECT_TRUE(texts.insert(Mdp::CodeText(code)).second) << name;
    }
}

TEST(Codes, OperatingSystemFamilyTellsTheErrorsText) {
    EXPECT_EQ(Mdp::DescribeCode(0xECA70002),
              "0xECA70002 OBJ_E_OS_BASE+2: the operating system reported error 2 (No such "
              "file or directory), or a program ended with status 2");
    EXPECT_TRUE(Mdp::IsOsError(0xECA70002));
    EXPECT_EQ(Mdp::OsError(0xECA70002), 2);
    EXPECT_FALSE(Mdp::IsOsError(0xECA80002));
}

TEST(Codes, LibraryFamilyTellsTheNumber) {
    EXPECT_EQ(Mdp::DescribeCode(0xECA8070F),
              "0xECA8070F OBJ_E_EXT_BASE+0x70F: the hardware or protocol library reported error 1807");
}

TEST(Codes, PlatformValuesHaveAnExplanationButNoName) {
    for (const Mdp::Code code : {0x80004003U, 0x80004005U, 0x8007000EU, 0x80070057U, 87U}) {
        EXPECT_EQ(Mdp::CodeName(code), "");
        EXPECT_THAT(Mdp::CodeText(code), testing::Not(HasSubstr("unknown"))) << code;
    }
    EXPECT_EQ(Mdp::DescribeCode(0x80004003), "0x80004003: a null pointer inside the service");
}

TEST(Codes, UnknownCodesAreToldByTheirTopBit) {
    EXPECT_EQ(Mdp::DescribeCode(0xECA6DEAD), "0xECA6DEAD: an unknown failure");
    EXPECT_EQ(Mdp::DescribeCode(5), "0x00000005: success with an unknown code");
}
