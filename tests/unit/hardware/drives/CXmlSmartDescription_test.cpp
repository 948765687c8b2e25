// Writes /usr/local/bin/mdpdrive.xml of the throw-away machine that it runs in.
#include "hardware/drives/CXmlSmartDescription.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "LogCapture.h"
#include "hardware/drives/CSmartDeviceDescription.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class XmlSmartDescriptionTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(std::filesystem::exists("/run/machine")); }

    void Load(const std::string& devices) {
        std::ofstream(CXmlSmartDescription::FILE_PATH)
            << "<?xml version=\"1.0\"?><DRIVE_SMART_CONFIG>" << devices << "</DRIVE_SMART_CONFIG>";
        EXPECT_EQ(m_descriptions.LoadXML(), 0U);
        EXPECT_THAT(m_log.TakeLines(), IsEmpty());
    }

    // The display name of the entry that answers; "-" where none does.
    std::string NameOf(const std::string& model, const std::string& firmware) {
        CSmartDeviceDescription description(model, firmware);
        if (m_descriptions.GetSmartDeviceDescription(description) != 0) {
            return "-";
        }
        return {description.name.begin(), description.name.end()};
    }

    CLogCapture m_log;
    CXmlSmartDescription m_descriptions;
};

TEST_F(XmlSmartDescriptionTest, AMissingFileFailsWithItsName) {
    std::filesystem::remove(CXmlSmartDescription::FILE_PATH);
    EXPECT_EQ(m_descriptions.LoadXML(), 0xECA60001U);
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("Error: (2) Could not load xml-file \"/usr/local/bin/mdpdrive.xml\""));
    EXPECT_EQ(NameOf("M", "F"), "-");
}

TEST_F(XmlSmartDescriptionTest, AFileThatIsNoXmlFails) {
    std::ofstream(CXmlSmartDescription::FILE_PATH) << "<DRIVE_SMART_CONFIG><DEVICE model='M' firmware='' name='Name'/>";
    EXPECT_EQ(m_descriptions.LoadXML(), 0xECA60001U);
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("Error: (0) Could not load xml-file \"/usr/local/bin/mdpdrive.xml\""));
    EXPECT_EQ(NameOf("M", "F"), "-") << "an entry before the place that is wrong";
}

TEST_F(XmlSmartDescriptionTest, AnEntryIsReadWithItsRulesInTheirOrder) {
    Load("<DEVICE model='M 1' firmware='' name='Name' type='2'>"
         "<x name='A' datatype='1' id='0xE9' opt1='5' opt2='10'/><y name='B' datatype='3' opt1='-3'/>"
         "<z name='C' id='ff' datatype=''/></DEVICE>");
    CSmartDeviceDescription description("M 1", "F");
    EXPECT_EQ(m_descriptions.GetSmartDeviceDescription(description), 0U);
    EXPECT_THAT(
        m_log.TakeLines(),
        ElementsAre("None: xpath: //DRIVE_SMART_CONFIG/DEVICE[@model='M 1' and (@firmware='F' or @firmware='')]"));
    EXPECT_EQ(description.name, L"Name");
    EXPECT_EQ(description.firmware, L""); // the entry's
    EXPECT_EQ(description.type, 2);
    ASSERT_EQ(description.attributes.size(), 3U);
    const CSmartAttributeDescription& first = description.attributes[0];
    EXPECT_EQ(first.name, L"A");
    EXPECT_EQ(first.datatype, 1);
    EXPECT_EQ(first.id, 0xE9);
    EXPECT_EQ(first.opt1, 5);
    EXPECT_EQ(first.opt2, 10);
    EXPECT_EQ(first.value, 0U);
    EXPECT_EQ(description.attributes[1].opt1, -3);
    EXPECT_EQ(description.attributes[1].id, 0);
    EXPECT_EQ(description.attributes[2].id, 0xFF);
    EXPECT_EQ(description.attributes[2].datatype, 0);
}

TEST_F(XmlSmartDescriptionTest, TheEarlierEntryWins) {
    Load("<DEVICE model='A' firmware='' name='general'/><DEVICE model='A' firmware='F1' name='one'/>"
         "<DEVICE model='B' firmware='F1' name='one'/><DEVICE model='B' firmware='' name='general'/>");
    EXPECT_EQ(NameOf("A", "F1"), "general");
    EXPECT_EQ(NameOf("B", "F1"), "one");
    EXPECT_EQ(NameOf("B", "F2"), "general");
}

TEST_F(XmlSmartDescriptionTest, AnEntryWithoutFirmwareNeverMatches) {
    Load("<DEVICE model='A' name='none'/>");
    EXPECT_EQ(NameOf("A", ""), "-");
    EXPECT_EQ(NameOf("A", "F"), "-");
    EXPECT_THAT(m_log.TakeLines(), ::testing::Contains("None: SMART Device is NULL!"));
}

TEST_F(XmlSmartDescriptionTest, AnyModelTextIsAnsweredWithoutAnException) {
    Load("<DEVICE model='A &amp; &lt;B&gt; &quot;C&quot;' firmware='' name='marks'/>"
         "<DEVICE model=\"it's\" firmware='' name='apostrophe'/><DEVICE model='' firmware='' name='empty'/>");
    EXPECT_EQ(NameOf("A & <B> \"C\"", "F"), "marks");
    EXPECT_EQ(NameOf("it's", "F"), "-");
    EXPECT_EQ(NameOf("x' or @model='A", "F"), "-");
    EXPECT_EQ(NameOf("x", "' or '1'='1"), "-");
    EXPECT_EQ(NameOf("", "F"), "empty");
    EXPECT_EQ(NameOf("\xff\xfe", "F"), "-");            // not cut to nothing
    EXPECT_EQ(NameOf(std::string(300, 'M'), "F"), "-"); // more than a query holds
    EXPECT_EQ(NameOf("[]()@/*|\n\t", "F"), "-");
}

TEST_F(XmlSmartDescriptionTest, RulesWithANumberThatIsNoneAreLeftOut) {
    Load("<DEVICE model='A' firmware='' name='n' type='flash'>"
         "<r name='1' datatype='x'/><r name='2' id='GG'/><r name='3' opt1='99999999999'/><r name='4' opt2='-'/>"
         "<r name='5' id='100000000'/><r name='6' datatype='3' opt1='7'/></DEVICE>");
    CSmartDeviceDescription description("A", "F");
    EXPECT_EQ(m_descriptions.GetSmartDeviceDescription(description), 0U);
    EXPECT_EQ(description.type, 0);
    ASSERT_EQ(description.attributes.size(), 1U);
    EXPECT_EQ(description.attributes[0].name, L"6");
}

TEST_F(XmlSmartDescriptionTest, DevicesElsewhereAreNotLookedAt) {
    Load("<GROUP><DEVICE model='A' firmware='' name='inner'/></GROUP>");
    EXPECT_EQ(NameOf("A", "F"), "-");
}

} // namespace
