#include "dictionary/MdpStringTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <pugixml.hpp>
#include <string>
#include <thread>

#include "log/Logger.h"

namespace {

using ::testing::HasSubstr;
using ::testing::StrEq;

constexpr std::uint32_t FAILED = 0xECA60001;

class MdpStringTable : public ::testing::Test {
protected:
    void SetUp() override {
        m_logger = std::make_unique<CLogger>();
        g_pLogger = m_logger.get();
        std::string pattern = (std::filesystem::temp_directory_path() / "string-table-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        m_directory = pattern;
    }

    void TearDown() override {
        std::filesystem::remove_all(m_directory);
        g_pLogger = nullptr;
    }

    std::wstring WriteFile(const std::string& content) {
        const std::filesystem::path path = m_directory / "messages.xml";
        std::ofstream(path, std::ios::binary) << content;
        return path.wstring();
    }

    std::uint32_t Load(const std::string& content) {
        return CMdpStringTable::LoadXmlStringTable(WriteFile(content).c_str(), &m_table);
    }

    std::unique_ptr<CLogger> m_logger;
    std::filesystem::path m_directory;
    CMdpStringTable m_table;
};

TEST_F(MdpStringTable, IsEmptyUntilTheFirstStringAndAgainAfterClean) {
    EXPECT_TRUE(m_table.IsEmpty());
    m_table.AddString(500, 1033, "Device type");
    EXPECT_FALSE(m_table.IsEmpty());
    m_table.Clean();
    EXPECT_TRUE(m_table.IsEmpty());
    EXPECT_EQ(m_table.FindMessage(500), nullptr);
}

TEST_F(MdpStringTable, KeepsACopyOfTheText) {
    char text[] = "Device type";
    m_table.AddString(500, 1033, text);
    text[0] = '?';
    EXPECT_STREQ(m_table.GetString(500, 1033), "Device type");
}

TEST_F(MdpStringTable, ATextThatExistsForMessageAndLanguageStays) {
    m_table.AddString(500, 1033, "first");
    m_table.AddString(500, 1033, "second");
    EXPECT_STREQ(m_table.GetString(500, 1033), "first");
}

TEST_F(MdpStringTable, FindMessageGivesTheLanguagesOfAMessage) {
    m_table.AddString(500, 1033, "Device type");
    m_table.AddString(500, 1031, "Gerätetyp");
    m_table.AddString(501, 1033, "Device name");

    const CMdpStringTable::TLanguages* languages = m_table.FindMessage(500);
    ASSERT_NE(languages, nullptr);
    ASSERT_EQ(languages->size(), 2U);
    EXPECT_STREQ(languages->at(1031).get(), "Gerätetyp");
    EXPECT_STREQ(languages->at(1033).get(), "Device type");
    EXPECT_EQ(m_table.FindMessage(502), nullptr);
}

TEST_F(MdpStringTable, AnUnknownMessageHasNoText) {
    m_table.AddString(500, 1033, "Device type");
    EXPECT_EQ(m_table.GetString(501, 1033), nullptr);
    EXPECT_EQ(m_table.GetString(501, 0), nullptr);
}

TEST_F(MdpStringTable, ALanguageThatWasAskedForIsExact) {
    m_table.AddString(500, 1036, "Type d'appareil");
    EXPECT_EQ(m_table.GetString(500, 1033), nullptr);
    EXPECT_STREQ(m_table.GetString(500, 1036), "Type d'appareil");
}

TEST_F(MdpStringTable, AMissingLanguageIsEnteredWithoutATextAndStaysMissing) {
    m_table.AddString(500, 1036, "Type d'appareil");
    EXPECT_EQ(m_table.GetString(500, 1040), nullptr);

    const CMdpStringTable::TLanguages* languages = m_table.FindMessage(500);
    ASSERT_EQ(languages->count(1040), 1U);
    EXPECT_EQ(languages->at(1040), nullptr);
    EXPECT_EQ(m_table.GetString(500, 1040), nullptr);
}

TEST_F(MdpStringTable, LanguageZeroPrefersEnglishThenGerman) {
    m_table.AddString(500, 1031, "Gerätetyp");
    m_table.AddString(500, 1026, "Тип");
    EXPECT_STREQ(m_table.GetString(500, 0), "Gerätetyp");

    m_table.AddString(501, 1031, "Gerätename");
    m_table.AddString(501, 1033, "Device name");
    EXPECT_STREQ(m_table.GetString(501, 0), "Device name");
}

TEST_F(MdpStringTable, LanguageZeroFallsBackToTheLowestLanguage) {
    m_table.AddString(500, 1030, "Enhedstype");
    m_table.AddString(500, 1026, "Тип");
    EXPECT_STREQ(m_table.GetString(500, 0), "Тип");
}

TEST_F(MdpStringTable, LanguageZeroFindsNothingWhereTheMissingGermanEntryIsTheLowest) {
    m_table.AddString(500, 1036, "Type d'appareil");
    EXPECT_EQ(m_table.GetString(500, 0), nullptr);
    EXPECT_STREQ(m_table.GetString(500, 1036), "Type d'appareil");
}

TEST_F(MdpStringTable, EveryUseStampsTheActivity) {
    const auto isStampedBy = [this](auto use) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        const std::uint64_t before = m_table.GetInactTime();
        use();
        return before >= 100 && m_table.GetInactTime() < before;
    };
    EXPECT_TRUE(isStampedBy([this] { m_table.AddString(500, 1033, "Device type"); }));
    EXPECT_TRUE(isStampedBy([this] { m_table.AddString(500, 1033, "again"); }));
    EXPECT_TRUE(isStampedBy([this] { m_table.FindMessage(1); }));
    EXPECT_TRUE(isStampedBy([this] { m_table.GetString(1, 1033); }));
    EXPECT_TRUE(isStampedBy([this] { m_table.ActivityStamp(); }));
}

TEST_F(MdpStringTable, CleanIsNoUse) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    m_table.Clean();
    EXPECT_GE(m_table.GetInactTime(), 100U);
}

TEST_F(MdpStringTable, LoadsEveryTextWhateverTheElementsAreCalled) {
    EXPECT_EQ(Load("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- names -->\n"
                   "<a><!-- first --><b ID=\"500\"><c LCID=\"1033\">Device type</c><d LCID=\"1031\">Gerätetyp</d></b>"
                   "<e x=\"1\" ID=\"501\"><f LCID=\"1033\">Device &lt;name&gt;</f></e></a>"),
              0U);
    EXPECT_FALSE(m_table.IsEmpty());
    EXPECT_STREQ(m_table.GetString(500, 1033), "Device type");
    EXPECT_STREQ(m_table.GetString(500, 1031), "Gerätetyp");
    EXPECT_STREQ(m_table.GetString(501, 1033), "Device <name>");
    EXPECT_EQ(m_table.GetString(501, 1031), nullptr);
}

TEST_F(MdpStringTable, LoadsAFileOfUtf16ByItsByteOrderMark) {
    const std::string narrow = "<m><t ID=\"500\"><x LCID=\"1033\">Device type</x></t></m>";
    std::string wide = "\xFF\xFE";
    for (const char c : narrow) {
        wide += c;
        wide += '\0';
    }
    EXPECT_EQ(Load(wide), 0U);
    EXPECT_STREQ(m_table.GetString(500, 1033), "Device type");
}

TEST_F(MdpStringTable, PassesOverMessagesAndLanguagesWithoutANumberAboveZero) {
    EXPECT_EQ(
        Load("<m>"
             "<t ID=\"0\"><x LCID=\"1033\">zero</x></t>"
             "<t ID=\"-5\"><x LCID=\"1033\">negative</x></t>"
             "<t ID=\"five\"><x LCID=\"1033\">no number</x></t>"
             "<t id=\"7\"><x LCID=\"1033\">lower case</x></t>"
             "<t><x LCID=\"1033\">none</x></t>"
             "<t ID=\"500\"><x LCID=\"0\">zero</x><x LCID=\"-1\">negative</x><x LCID=\"en\">word</x><x>none</x></t>"
             "</m>"),
        0U);
    EXPECT_TRUE(m_table.IsEmpty());
}

TEST_F(MdpStringTable, TheFirstOfTwoEntriesForOneMessageAndLanguageCounts) {
    EXPECT_EQ(Load("<m><t ID=\"500\"><x LCID=\"1033\">first</x><x LCID=\"1033\">second</x></t>"
                   "<t ID=\"500\"><x LCID=\"1033\">third</x><x LCID=\"1031\">erster</x></t></m>"),
              0U);
    EXPECT_STREQ(m_table.GetString(500, 1033), "first");
    EXPECT_STREQ(m_table.GetString(500, 1031), "erster");
}

TEST_F(MdpStringTable, ALanguageWithoutContentHasAnEmptyText) {
    EXPECT_EQ(Load("<m><t ID=\"500\"><x LCID=\"1033\"/></t></m>"), 0U);
    EXPECT_STREQ(m_table.GetString(500, 1033), "");
}

TEST_F(MdpStringTable, ASecondLoadChangesNothing) {
    EXPECT_EQ(Load("<m><t ID=\"500\"><x LCID=\"1033\">first</x></t></m>"), 0U);
    EXPECT_EQ(Load("<m><t ID=\"500\"><x LCID=\"1033\">second</x></t></m>"), 0U);
    EXPECT_STREQ(m_table.GetString(500, 1033), "first");
}

TEST_F(MdpStringTable, AMissingFileFailsAndIsLoggedWithErrnoAndPath) {
    m_logger->AddRoute(LOG_SEVERITY_PROGRESS, LOG_TARGET_CONSOLE);
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(CMdpStringTable::LoadXmlStringTable((m_directory / "missing.xml").wstring().c_str(), &m_table), FAILED);
    EXPECT_THAT(::testing::internal::GetCapturedStdout(),
                StrEq("None: (2) Could not load xml-file \"" + (m_directory / "missing.xml").string() + "\"\n"));
    EXPECT_TRUE(m_table.IsEmpty());
}

TEST_F(MdpStringTable, AFileThatIsNoXmlFailsAndLeavesTheTableAsItWas) {
    EXPECT_EQ(Load(""), FAILED);
    EXPECT_EQ(Load("<m><t ID=\"500\"><x LCID=\"1033\">cut"), FAILED);
    EXPECT_TRUE(m_table.IsEmpty());
}

TEST_F(MdpStringTable, AFailedLoadIsTriedAgain) {
    EXPECT_EQ(Load("no xml"), FAILED);
    EXPECT_EQ(Load("<m><t ID=\"500\"><x LCID=\"1033\">Device type</x></t></m>"), 0U);
    EXPECT_STREQ(m_table.GetString(500, 1033), "Device type");
}

TEST_F(MdpStringTable, NumericAttributeIsTheFirstOfExactlyThatName) {
    pugi::xml_document document;
    ASSERT_TRUE(document.load_string("<a id=\"1\" IDX=\"2\" ID=\"  42 and more\" ID=\"43\"/>"));
    const auto value = [&document](const char* name) {
        return CMdpStringTable::GetXmlAttributeValNumeric(document.begin(), name);
    };
    EXPECT_EQ(value("ID"), 42);
    EXPECT_EQ(value("id"), 1);
    EXPECT_EQ(value("LCID"), 0);
    EXPECT_EQ(value(""), 0);
}

TEST_F(MdpStringTable, AThousandLoadsAndCleansOfTheRealFileEndEmpty) {
    const std::wstring path = std::filesystem::path(MDPMESSAGE_FILE).wstring();
    for (int round = 0; round < 1000; ++round) {
        ASSERT_EQ(CMdpStringTable::LoadXmlStringTable(path.c_str(), &m_table), 0U);
        ASSERT_STREQ(m_table.GetString(10009, 1033), "IPv4 address");
        ASSERT_EQ(m_table.GetString(10009, 1036), nullptr);
        m_table.Clean();
        ASSERT_TRUE(m_table.IsEmpty());
    }
}

} // namespace
