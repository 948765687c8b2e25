#include "sysconfig/CRCConfig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "LogCapture.h"
#include "RcConf.h"
#include "StandIns.h"

using testing::ElementsAre;
using ZMBSD::CRCConfig;

namespace {

using Call = std::vector<std::string>;

class RcConfigTest : public testing::Test {
protected:
    CLogCapture m_log;
    CStandIns m_standIns;
};

struct timespec ModificationTime() {
    struct stat status = {};
    stat(CRCConfig::RC_CONFIG_FILE, &status);
    return status.st_mtim;
}

} // namespace

TEST_F(RcConfigTest, ValueIsWhatStandsBetweenTheFirstAndTheLastQuote) {
    const struct {
        const char* line;
        const char* value;
    } rows[] = {
        {"key=\"value\"", "value"},
        {"key=\"two words\" # comment", "two words"},
        {"key=\"a\" \"b\"", "a\" \"b"},
        {"key=\"", ""},
        {"key=\"to the end # of it", "to the end # of it"},
        {"key=x\"tail", "tail"},
        {"key=\"\"", ""},
        {"key=value", ""},
        {"key='value'", ""},
        {"#key=\"value\"", ""},
        {" key=\"value\"", ""},
        {"other=\"value\"", ""},
        {"ke", ""},
        {"", ""},
    };

    for (const auto& row : rows) {
        WriteRcConf(std::string("# a comment with \"quotes\"\n") + row.line + "\n");
        EXPECT_EQ(CRCConfig::ReadValue("key"), row.value) << row.line;
    }
}

TEST_F(RcConfigTest, LineWithoutAQuoteIsSkippedForALaterOne) {
    WriteRcConf("key=DHCP\nkey='x'\nkey=\"third\"\nkey=\"fourth\"\n");
    EXPECT_EQ(CRCConfig::ReadValue("key"), "third");
}

TEST_F(RcConfigTest, KeyIsAPlainPrefixAndTheFirstLineWins) {
    WriteRcConf("ifconfig_em0_alias0=\"inet 10.0.0.2\"\nifconfig_em0=\"inet 10.0.0.1\"\n");
    EXPECT_EQ(CRCConfig::ReadValue("ifconfig_em0"), "inet 10.0.0.2");

    EXPECT_TRUE(CRCConfig::WriteValue("ifconfig_em0", "DHCP"));
    EXPECT_EQ(ReadRcConf(), "ifconfig_em0=\"DHCP\"\nifconfig_em0=\"inet 10.0.0.1\"\n");
}

TEST_F(RcConfigTest, ValueIsReadAnewEachTime) {
    WriteRcConf("key=\"one\"\n");
    EXPECT_EQ(CRCConfig::ReadValue("key"), "one");
    WriteRcConf("key=\"two\"\n");
    EXPECT_EQ(CRCConfig::ReadValue("key"), "two");
}

TEST_F(RcConfigTest, ReadingLogsWhatItFoundAndAFileThatCannotBeRead) {
    WriteRcConf("key=\"value\"\n");
    CRCConfig::ReadValue("absent");
    CRCConfig::ReadValue("key");
    std::filesystem::remove(CRCConfig::RC_CONFIG_FILE);
    EXPECT_EQ(CRCConfig::ReadValue("key"), "");
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("None: RcConfig::ReadValue \"key\"=value",
                                               "None: RcConfig::ReadValue: Could not read rc.conf file!"));
}

TEST_F(RcConfigTest, WritingReplacesTheWholeFirstLineAndKeepsTheRest) {
    WriteRcConf("# top\na=\"1\"\nkey=\"old\" # lost\nb=\"2\"\nkey=\"later\"\n");
    EXPECT_TRUE(CRCConfig::WriteValue("key", "new value"));
    EXPECT_EQ(ReadRcConf(), "# top\na=\"1\"\nkey=\"new value\"\nb=\"2\"\nkey=\"later\"\n");
}

TEST_F(RcConfigTest, WritingReplacesALineThatReadingSkips) {
    WriteRcConf("key=unquoted\nkey=\"quoted\"\n");
    EXPECT_TRUE(CRCConfig::WriteValue("key", "new"));
    EXPECT_EQ(ReadRcConf(), "key=\"new\"\nkey=\"quoted\"\n");
}

TEST_F(RcConfigTest, WritingAnAbsentKeyAppendsBehindAFinalComment) {
    WriteRcConf("a=\"1\"\n# the end");
    EXPECT_TRUE(CRCConfig::WriteValue("key", "value"));
    EXPECT_EQ(ReadRcConf(), "a=\"1\"\n# the end\nkey=\"value\"\n");
}

TEST_F(RcConfigTest, WritingEscapesNothing) {
    WriteRcConf("");
    EXPECT_TRUE(CRCConfig::WriteValue("key", "a\"b\\$c"));
    EXPECT_EQ(ReadRcConf(), "key=\"a\"b\\$c\"\n");
    EXPECT_EQ(CRCConfig::ReadValue("key"), "a\"b\\$c");
}

TEST_F(RcConfigTest, WritingAndRemovingFailOnAFileThatCannotBeRead) {
    std::filesystem::remove(CRCConfig::RC_CONFIG_FILE);
    EXPECT_FALSE(CRCConfig::WriteValue("key", "value"));
    EXPECT_FALSE(CRCConfig::RemoveValue("key", ""));
    EXPECT_FALSE(std::filesystem::exists(CRCConfig::RC_CONFIG_FILE));
}

TEST_F(RcConfigTest, WritingAndRemovingFailOnAFileThatCannotBeReplaced) {
    WriteRcConf("key=\"old\"\n");
    ASSERT_EQ(std::system("mount --bind /etc/rc.conf /etc/rc.conf"), 0);
    EXPECT_FALSE(CRCConfig::WriteValue("key", "new"));
    EXPECT_FALSE(CRCConfig::RemoveValue("key", ""));
    EXPECT_EQ(ReadRcConf(), "key=\"old\"\n");
    EXPECT_FALSE(std::filesystem::exists("/etc/.rc.conf.new"));
    ASSERT_EQ(std::system("umount /etc/rc.conf"), 0);
}

TEST_F(RcConfigTest, RemovingTakesOneLineACall) {
    WriteRcConf("a=\"1\"\nkey=\"one\"\nkey_more=\"two\"\n");
    EXPECT_TRUE(CRCConfig::RemoveValue("key", ""));
    EXPECT_EQ(ReadRcConf(), "a=\"1\"\nkey_more=\"two\"\n");
    EXPECT_TRUE(CRCConfig::RemoveValue("key", ""));
    EXPECT_EQ(ReadRcConf(), "a=\"1\"\n");
}

TEST_F(RcConfigTest, RemovingWithAFilterTakesTheFirstLineThatHoldsIt) {
    WriteRcConf("key=\"one\"\nkey=\"two\"\nkey=\"two\"\n");
    EXPECT_TRUE(CRCConfig::RemoveValue("key", "two"));
    EXPECT_EQ(ReadRcConf(), "key=\"one\"\nkey=\"two\"\n");
    EXPECT_TRUE(CRCConfig::RemoveValue("key", "three"));
    EXPECT_EQ(ReadRcConf(), "key=\"one\"\nkey=\"two\"\n");
}

TEST_F(RcConfigTest, RemovingAnAbsentKeyDoesNotRewriteTheFile) {
    // A rewrite would end the last line.
    WriteRcConf("a=\"1\"");
    const struct timespec before = ModificationTime();
    EXPECT_TRUE(CRCConfig::RemoveValue("key", ""));
    EXPECT_EQ(ReadRcConf(), "a=\"1\"");
    EXPECT_EQ(ModificationTime().tv_nsec, before.tv_nsec);
    WriteRcConf("");
    EXPECT_TRUE(CRCConfig::RemoveValue("key", ""));
}

TEST_F(RcConfigTest, OnlyTheWordYesIsEnabled) {
    EXPECT_TRUE(CRCConfig::IsEnabled("YES"));
    EXPECT_TRUE(CRCConfig::IsEnabled("yes"));
    EXPECT_TRUE(CRCConfig::IsEnabled("yEs"));
    for (const char* value : {"YES ", " YES", "on", "true", "1", "", "NO", "Y"}) {
        EXPECT_FALSE(CRCConfig::IsEnabled(value)) << value;
    }
}

TEST_F(RcConfigTest, NtpdSettingIsReadFromTheFileAndWrittenByTheTool) {
    m_standIns.Add("/usr/sbin/sysrc", 5);
    WriteRcConf("ntpd_enable=\"Yes\"\n");
    EXPECT_TRUE(CRCConfig::GetNtpdEnabled());
    WriteRcConf("");
    EXPECT_FALSE(CRCConfig::GetNtpdEnabled());
    EXPECT_EQ(CRCConfig::SetNtpdEnabled(true), 5U);
    EXPECT_EQ(CRCConfig::SetNtpdEnabled(false), 5U);
    EXPECT_THAT(m_standIns.Calls(),
                ElementsAre(Call{"/usr/sbin/sysrc", "ntpd_enable=YES"}, Call{"/usr/sbin/sysrc", "ntpd_enable=NO"}));
}

TEST_F(RcConfigTest, OptionStartsAtItsFirstOccurrence) {
    EXPECT_EQ(CRCConfig::GetOptionStartPos("-b -Z em0 -Z", "-Z"), 3U);
    EXPECT_EQ(CRCConfig::GetOptionStartPos("-b", ""), 0U);
    EXPECT_EQ(CRCConfig::GetOptionStartPos("-b", "-Z"), std::string::npos);
    EXPECT_EQ(CRCConfig::GetOptionStartPos("", "-Z"), std::string::npos);
}

TEST_F(RcConfigTest, OptionEndsAtTheNextHyphenOrTheEnd) {
    EXPECT_EQ(CRCConfig::GetOptionEndPos("-Z em0 -G", 2), 7U);
    EXPECT_EQ(CRCConfig::GetOptionEndPos("-Z em0 -G", 7), 7U);
    EXPECT_EQ(CRCConfig::GetOptionEndPos("-Z em0", 2), 6U);
    EXPECT_EQ(CRCConfig::GetOptionEndPos("-Z em0", 100), 6U);
    EXPECT_EQ(CRCConfig::GetOptionEndPos("", 0), 0U);
}

TEST_F(RcConfigTest, ListIsSeparatedByCommasWhereThereAreAny) {
    EXPECT_EQ(CRCConfig::GetDelimiter("em0,em1 em2"), ',');
    EXPECT_EQ(CRCConfig::GetDelimiter("em0 em1"), ' ');
    EXPECT_EQ(CRCConfig::GetDelimiter(""), ' ');
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("None: CRCConfig::GetDelimiter -> comma-separated list",
                                               "None: CRCConfig::GetDelimiter -> space-separated list",
                                               "None: CRCConfig::GetDelimiter -> space-separated list"));
}
