#include "hardware/drives/CSmartDeviceDescription.h"

#include <gtest/gtest.h>

#include <memory>

#include "FakeDrives.h"
#include "LogCapture.h"

using PhysicalDrive::CPhysicalDrive;

namespace {

class SmartDeviceDescriptionTest : public ::testing::Test {
protected:
    void SetUp() override {
        FakeDrives::Reset();
        TFakeAta& fake = FakeDrives::ata["/dev/ada0"] = FakeDrives::Ata("12345678", "M", "F");
        FakeDrives::Put(fake, 0, 0xE9, 97, 0x665544332211, 10);
        m_drive->Update();
        m_drive->ReadSmart();
    }

    void TearDown() override { FakeDrives::Reset(); }

    static CSmartAttributeDescription Rule(int datatype, int id, int opt1, int opt2,
                                           const std::wstring& name = L"Quantity") {
        return {id, name, datatype, opt1, opt2, 0};
    }

    // What a single rule comes to. 1000000 where it does not answer.
    std::uint64_t Interpret(const CSmartAttributeDescription& rule) {
        CSmartDeviceDescription description("M", "F");
        description.attributes = {rule};
        EXPECT_EQ(description.InterpretData(m_drive.get()), 0U);
        std::uint64_t value = 1000000;
        const std::uint32_t result = description.GetAttributeValueByName(L"Quantity", &value);
        EXPECT_EQ(result, value == 1000000 ? 0xECA60001U : 0U);
        return value;
    }

    static constexpr std::uint64_t NONE = 1000000;

    CLogCapture m_log;
    std::unique_ptr<CPhysicalDrive> m_drive{CPhysicalDrive::Create(0)};
};

TEST_F(SmartDeviceDescriptionTest, BytesOfAnAttributeAreALittleEndianNumber) {
    EXPECT_EQ(Interpret(Rule(1, 0xE9, 5, 10)), 0x665544332211U);
    EXPECT_EQ(Interpret(Rule(1, 0xE9, 5, 5)), 0x11U);
    EXPECT_EQ(Interpret(Rule(1, 0xE9, 3, 3)), 97U);
    EXPECT_EQ(Interpret(Rule(1, 0xE9, 0, 11)), 0x332211'60'61'0133'E9U); // at most eight bytes
}

TEST_F(SmartDeviceDescriptionTest, DescendingRangesFallIntoTheLowestByte) {
    EXPECT_EQ(Interpret(Rule(1, 0xE9, 6, 5)), 0x33U);
    EXPECT_EQ(Interpret(Rule(1, 0xE9, 3, 0)), 97U | 0x01U | 0x33U | 0xE9U);
    EXPECT_EQ(Interpret(Rule(1, 0xE9, 10, 5)), 0x77U);
}

TEST_F(SmartDeviceDescriptionTest, BytesOfTheRawBlock) {
    EXPECT_EQ(Interpret(Rule(2, 0, 2, 2)), 0xE9U);
    EXPECT_EQ(Interpret(Rule(2, 0xE9, 7, 8)), 0x2211U);
    EXPECT_EQ(Interpret(Rule(2, 0x12, 7, 8)), NONE);
}

TEST_F(SmartDeviceDescriptionTest, RangesBeyondTheBlockTakeWhatIsThere) {
    EXPECT_EQ(Interpret(Rule(1, 0xE9, 11, 200)), 0xEEU);
    EXPECT_EQ(Interpret(Rule(1, 0xE9, 11, -1)), 0xEEU); // compared as unsigned
    EXPECT_EQ(Interpret(Rule(2, 0, 510, 600)), std::uint64_t{FakeDrives::ata["/dev/ada0"].data[511]} << 8);
}

TEST_F(SmartDeviceDescriptionTest, AFirstByteBehindTheBlockIsSkippedNotFailed) {
    EXPECT_EQ(Interpret(Rule(1, 0xE9, 12, 12)), 0U);
    EXPECT_EQ(Interpret(Rule(1, 0xE9, -1, 5)), 0U);
    EXPECT_EQ(Interpret(Rule(2, 0, 512, 512)), 0U);
}

TEST_F(SmartDeviceDescriptionTest, ConstantsAreSignExtendedAndBoundToAnAttributeByItsId) {
    EXPECT_EQ(Interpret(Rule(3, 0, 3000, 0)), 3000U);
    EXPECT_EQ(Interpret(Rule(3, 0, -2, 0)), 0xFFFFFFFFFFFFFFFEU);
    EXPECT_EQ(Interpret(Rule(3, 0xE9, 3000, 0)), 3000U);
    EXPECT_EQ(Interpret(Rule(3, 0x12, 3000, 0)), NONE);
}

TEST_F(SmartDeviceDescriptionTest, RulesOfAMissingAttributeDoNotAnswer) {
    EXPECT_EQ(Interpret(Rule(1, 0xEA, 5, 10)), NONE);
    EXPECT_EQ(Interpret(Rule(1, 0x1E9, 5, 10)), NONE); // the low byte is looked for, the whole id is compared
}

TEST_F(SmartDeviceDescriptionTest, DatatypesOutsideOfTheKindsStayAsTheyAre) {
    EXPECT_EQ(Interpret(Rule(4, 0xE9, 5, 10)), 0U);
    EXPECT_EQ(Interpret(Rule(4, 0xEA, 5, 10)), 0U);
    EXPECT_EQ(Interpret(Rule(0, 0, 5, 10)), NONE);
    EXPECT_EQ(Interpret(Rule(-1, 0, 5, 10)), NONE);
    // Without an id there is no such attribute, and the entry that is looked at is empty.
    EXPECT_EQ(Interpret(Rule(1, 0, 5, 10)), 0U);
}

TEST_F(SmartDeviceDescriptionTest, AFailedReadLeavesConstantsAndTheBlock) {
    FakeDrives::ata["/dev/ada0"].fails = 0xD0;
    m_drive.reset(CPhysicalDrive::Create(0));
    m_drive->Update();
    EXPECT_EQ(m_drive->ReadSmart(), 0xECA60105U);
    EXPECT_EQ(Interpret(Rule(1, 0xE9, 5, 10)), NONE);
    EXPECT_EQ(Interpret(Rule(3, 0xE9, 3000, 0)), NONE);
    EXPECT_EQ(Interpret(Rule(3, 0, 3000, 0)), 3000U);
    EXPECT_EQ(Interpret(Rule(2, 0, 7, 8)), 0U);
}

TEST_F(SmartDeviceDescriptionTest, SmartSwitchedOffLeavesConstantsAndZeros) {
    TFakeAta& fake = FakeDrives::ata["/dev/ada0"];
    fake.identify[170] = 0;
    m_drive.reset(CPhysicalDrive::Create(0));
    m_drive->Update();
    m_drive->ReadSmart();
    EXPECT_EQ(Interpret(Rule(3, 0, 90, 0)), 90U);
    EXPECT_EQ(Interpret(Rule(2, 0, 2, 9)), 0U);
    EXPECT_EQ(Interpret(Rule(1, 0xE9, 5, 10)), NONE);
}

TEST_F(SmartDeviceDescriptionTest, TheFirstOfTwoRulesOfOneNameIsAsked) {
    CSmartDeviceDescription description("M", "F");
    description.attributes = {Rule(3, 0, 1, 0, L"A"), Rule(3, 0, 2, 0, L"A"), Rule(3, 0x12, 3, 0, L"B"),
                              Rule(3, 0, 4, 0, L"B")};
    description.InterpretData(m_drive.get());
    std::uint64_t value = 0;
    EXPECT_EQ(description.GetAttributeValueByName(L"A", &value), 0U);
    EXPECT_EQ(value, 1U);
    EXPECT_EQ(description.GetAttributeValueByName(L"B", &value), 0xECA60001U);
    EXPECT_EQ(value, 1U); // stays
    double number = 0.5;
    EXPECT_EQ(description.GetAttributeValueByName(L"C", &number), 0xECA60001U);
    EXPECT_EQ(number, 0.5);
    EXPECT_EQ(description.GetAttributeValueByName(L"A", &number), 0U);
    EXPECT_EQ(number, 1.0);
    unsigned int type = 9;
    EXPECT_EQ(description.GetAttributeTypeByName(L"B", &type), 0U);
    EXPECT_EQ(type, 0U);
    EXPECT_EQ(description.GetAttributeTypeByName(L"C", &type), 0xECA60001U);
}

TEST_F(SmartDeviceDescriptionTest, AnEmptyDescriptionAnswersNothing) {
    const CSmartDeviceDescription description("Model", "Firm");
    EXPECT_EQ(description.model, L"Model");
    EXPECT_EQ(description.firmware, L"Firm");
    EXPECT_EQ(description.name, L"");
    EXPECT_EQ(description.type, 0);
    std::uint64_t value = 7;
    EXPECT_EQ(description.GetAttributeValueByName(L"", &value), 0xECA60001U);
    EXPECT_EQ(value, 7U);
}

} // namespace
