// The file of drive descriptions against the rules that it must keep.
#include <gtest/gtest.h>

#include <map>
#include <pugixml.hpp>
#include <set>
#include <string>

namespace {

const std::set<std::string> VOCABULARY = {
    "EraseCountAverage", "EraseCountAverage2",   "EraseCountSpecified",    "CyclesLeftPercent",
    "SpareBlocksUsed",   "SpareBlocksRemaining", "SpareBlocksLeftPercent", "ReallocatedSectors",
    "SpinRetries",       "PendingSectors",       "UltraDmaCrcErrors",
};
const std::set<std::string> HARD_DISK_NAMES = {"ReallocatedSectors", "SpinRetries", "PendingSectors",
                                               "UltraDmaCrcErrors"};

class MdpDriveFile : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_document.load_file(MDPDRIVE_FILE, pugi::parse_default | pugi::parse_comments));
    }

    pugi::xml_object_range<pugi::xml_named_node_iterator> Devices() const {
        return m_document.child("DRIVE_SMART_CONFIG").children("DEVICE");
    }

    // A number that is written as a number, and nothing else.
    static int Number(const pugi::xml_node& node, const char* attribute, int base, int otherwise) {
        const std::string text = node.attribute(attribute).value();
        if (text.empty()) {
            return otherwise;
        }
        std::size_t end = 0;
        const int number = std::stoi(text, &end, base);
        EXPECT_EQ(end, text.size()) << attribute << " " << text;
        return number;
    }

    static bool IsPlainText(const std::string& text) {
        return text.find('\'') == std::string::npos &&
               text.find_first_not_of(" !\"#$%&()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[]^_"
                                      "abcdefghijklmnopqrstuvwxyz{|}~") == std::string::npos;
    }

    pugi::xml_document m_document;
};

TEST_F(MdpDriveFile, DescribesAtLeastSixtyModels) {
    std::set<std::string> models;
    for (const pugi::xml_node& device : Devices()) {
        models.insert(device.attribute("model").value());
    }
    EXPECT_GE(models.size(), 60U);
}

TEST_F(MdpDriveFile, EveryEntryHasTextsThatADriveCanTellAndAKind) {
    for (const pugi::xml_node& device : Devices()) {
        const std::string model = device.attribute("model").value();
        const std::string firmware = device.attribute("firmware").value();
        EXPECT_FALSE(model.empty());
        EXPECT_LE(model.size(), 40U) << model;
        EXPECT_LE(firmware.size(), 8U) << model;
        EXPECT_TRUE(IsPlainText(model) && IsPlainText(firmware)) << model;
        EXPECT_EQ(model.find_first_not_of(' '), 0U) << model;
        EXPECT_NE(model.back(), ' ') << model;
        EXPECT_TRUE(device.attribute("firmware")) << model << " never matches";
        EXPECT_STRNE(device.attribute("name").value(), "") << model;
        EXPECT_TRUE(IsPlainText(device.attribute("name").value())) << model;
        const int type = Number(device, "type", 10, 0);
        EXPECT_TRUE(type == 1 || type == 2) << model;
    }
}

TEST_F(MdpDriveFile, EntriesForAFirmwareStandBeforeGeneralOnesAndNoneIsHidden) {
    std::map<std::string, std::set<std::string>> seen;
    for (const pugi::xml_node& device : Devices()) {
        const std::string model = device.attribute("model").value();
        const std::string firmware = device.attribute("firmware").value();
        EXPECT_FALSE(seen[model].contains("")) << model << " with firmware \"" << firmware << "\" is never reached";
        EXPECT_TRUE(seen[model].insert(firmware).second) << model << " " << firmware << " stands twice";
    }
}

TEST_F(MdpDriveFile, RulesHaveKnownNamesOnceAndStayInsideTheirBlock) {
    for (const pugi::xml_node& device : Devices()) {
        const std::string model = device.attribute("model").value();
        const bool isHardDisk = Number(device, "type", 10, 0) == 1;
        std::set<std::string> names;
        for (const pugi::xml_node& rule : device.children()) {
            const std::string name = rule.attribute("name").value();
            const int datatype = Number(rule, "datatype", 10, 0);
            const int id = Number(rule, "id", 16, 0);
            const int first = Number(rule, "opt1", 10, 0);
            const int last = Number(rule, "opt2", 10, 0);
            EXPECT_TRUE(VOCABULARY.contains(name)) << model << " " << name;
            EXPECT_TRUE(names.insert(name).second) << model << " " << name;
            EXPECT_EQ(HARD_DISK_NAMES.contains(name), isHardDisk) << model << " " << name;
            EXPECT_TRUE(id >= 0 && id <= 255) << model << " " << name;
            EXPECT_TRUE(datatype >= 1 && datatype <= 3) << model << " " << name;
            if (datatype != 3) {
                EXPECT_GE(first, 0) << model << " " << name;
                EXPECT_LE(first, last) << model << " " << name;
                EXPECT_LT(last - first, 8) << model << " " << name;
                EXPECT_LT(last, datatype == 1 ? 12 : 512) << model << " " << name;
            }
            EXPECT_TRUE(datatype != 1 || id != 0) << model << " " << name;
        }
        EXPECT_FALSE(names.empty()) << model;
    }
}

TEST_F(MdpDriveFile, EveryEntryTellsWhereItsFactsStand) {
    for (const pugi::xml_node& device : Devices()) {
        const pugi::xml_node comment = device.previous_sibling();
        EXPECT_EQ(comment.type(), pugi::node_comment) << device.attribute("model").value();
        EXPECT_EQ(std::string(comment.value()).find(" Facts: "), 0U) << device.attribute("model").value();
    }
}

} // namespace
