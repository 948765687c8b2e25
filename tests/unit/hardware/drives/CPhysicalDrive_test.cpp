#include "hardware/drives/CPhysicalDrive.h"

#include <gmock/gmock.h>

#include <cstring>
#include <fstream>
#include <memory>

#include "FakeDrives.h"
#include "LogCapture.h"
#include "hardware/drives/CPhysicalDriveNVMe.h"
#include "hardware/drives/CPhysicalDriveRAID.h"
#include "hardware/drives/CPhysicalDrive_Posix.h"

using PhysicalDrive::CPhysicalDrive;
using PhysicalDrive::CPhysicalDriveNVMe;
using PhysicalDrive::CPhysicalDriveRAID;
using PhysicalDrive::TSmartInfo;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using TLines = std::vector<std::string>;

template <std::size_t size>
void Load(std::array<unsigned char, size>& block, const std::string& name) {
    std::ifstream file(std::string(DRIVE_BLOCKS) + "/" + name, std::ios::binary);
    file.read(reinterpret_cast<char*>(block.data()), size);
    ASSERT_EQ(file.gcount(), static_cast<std::streamsize>(size)) << name;
}

class PhysicalDriveTest : public ::testing::Test {
protected:
    void SetUp() override { FakeDrives::Reset(); }

    void TearDown() override { FakeDrives::Reset(); }

    static std::unique_ptr<CPhysicalDrive> Ata(unsigned index = 0) {
        return std::unique_ptr<CPhysicalDrive>(CPhysicalDrive::Create(index));
    }

    static std::unique_ptr<CPhysicalDrive> Nvme(unsigned index = 0) {
        return std::unique_ptr<CPhysicalDrive>(CPhysicalDriveNVMe::Create(index));
    }

    // An ATA drive whose identity is known.
    static std::unique_ptr<CPhysicalDrive> Updated() {
        auto drive = Ata();
        EXPECT_EQ(drive->Update(), 0U);
        FakeDrives::calls.clear();
        return drive;
    }

    static std::uint64_t RawOf(const TSmartInfo& info) {
        std::uint64_t raw = 0;
        std::memcpy(&raw, info.raw, sizeof info.raw);
        return raw;
    }

    CLogCapture m_log;
};

// --- identity --------------------------------------------------------------------------------------------------------

TEST_F(PhysicalDriveTest, IdentifyOfAnAtaDriveIsAskedWithTheSignatureOfSmartToo) {
    FakeDrives::ata["/dev/ada3"] = FakeDrives::Ata("SERIAL-0001", "MODEL X", "FW1");
    auto drive = Ata(3);
    EXPECT_EQ(drive->Update(), 0U);
    EXPECT_THAT(FakeDrives::calls, ElementsAre("open /dev/ada3", "ata EC 00 4F C2 60000 512", "close"));
    EXPECT_EQ(drive->serialNumber, "SERIAL-0001");
    EXPECT_EQ(drive->model, "MODEL X");
    EXPECT_EQ(drive->firmwareRevision, "FW1");
    EXPECT_EQ(drive->partitionLetters, "");
    EXPECT_EQ(drive->Update(), 0U); // known already: nothing is asked
    EXPECT_EQ(FakeDrives::calls.size(), 3U);
    EXPECT_THAT(m_log.TakeLines(), IsEmpty());
}

TEST_F(PhysicalDriveTest, RecordedIdentitiesAreRead) {
    Load(FakeDrives::ata["/dev/ada0"].identify, "ada0-identify.bin");
    auto ata = Ata();
    EXPECT_EQ(ata->Update(), 0U);
    EXPECT_EQ(ata->serialNumber, "ADA-SN-1");
    EXPECT_EQ(ata->model, "EXAMPLE-SSD-1G");
    EXPECT_EQ(ata->firmwareRevision, "2.5+");

    Load(FakeDrives::nvme["/dev/nvme0"].identify, "nvme0-identify.bin");
    auto nvme = Nvme();
    EXPECT_EQ(nvme->Update(), 0U);
    EXPECT_EQ(nvme->serialNumber, "NVME-SN-1");
    EXPECT_EQ(nvme->model, "QEMU NVMe Ctrl");
    EXPECT_EQ(nvme->firmwareRevision, "7.2.22");
}

TEST_F(PhysicalDriveTest, ADeviceThatIsNotThereFailsAndIsNotClosed) {
    EXPECT_EQ(Ata(7)->Update(), 0xECA60001U);
    EXPECT_THAT(FakeDrives::calls, ElementsAre("open /dev/ada7"));
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("None: CPhysicalDrive::CreateDeviceHandle failed!"));
    FakeDrives::calls.clear();
    EXPECT_EQ(Nvme(19)->Update(), 0xECA60001U);
    EXPECT_THAT(FakeDrives::calls, ElementsAre("open /dev/nvme19"));
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("None: CPhysicalDriveNVMe_Posix::CreateDeviceHandle failed!",
                                               "None: CPhysicalDrive::CreateDeviceHandle failed!"));
}

TEST_F(PhysicalDriveTest, ADriveThatRefusesItsIdentityHasNoData) {
    FakeDrives::ata["/dev/ada0"].fails = 0xEC;
    EXPECT_EQ(Ata()->Update(), 0xECA60105U);
    EXPECT_THAT(FakeDrives::calls, ElementsAre("open /dev/ada0", "ata EC 00 4F C2 60000 512", "close"));
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("None: CPhysicalDrive_Posix::IoCtrl 0xEC failed: 0xECA70005",
                                               "None: CPhysicalDrive::ReadIdentifyDeviceData failed!"));
    FakeDrives::nvme["/dev/nvme0"].fails = 0x06;
    EXPECT_EQ(Nvme()->Update(), 0xECA60105U);
    EXPECT_THAT(m_log.TakeLines(),
                ElementsAre("None: CPhysicalDriveNVMe_Posix::ReadIdentifyDeviceData NVME_OPC_IDENTIFY failed: 5",
                            "None: CPhysicalDrive::ReadIdentifyDeviceData failed!"));
    FakeDrives::nvme["/dev/nvme0"].fails = -1;
    FakeDrives::nvme["/dev/nvme0"].refused = 0x06;
    EXPECT_EQ(Nvme()->Update(), 0xECA60105U);
    EXPECT_THAT(m_log.TakeLines(),
                ElementsAre("None: CPhysicalDriveNVMe_Posix::ReadIdentifyDeviceData nvme_completion_is_error!",
                            "None: CPhysicalDrive::ReadIdentifyDeviceData failed!"));
}

TEST_F(PhysicalDriveTest, SerialNumbersDecideWhetherThereIsADrive) {
    for (const char* valid : {"12345678", "A B C D E", "A-B.C_D 1", "abcdefghij0123456789"}) {
        FakeDrives::ata["/dev/ada0"] = FakeDrives::Ata(valid, "M", "F");
        EXPECT_EQ(Ata()->Update(), 0U) << valid;
    }
    for (const char* invalid : {"1234567", "1234:678", "", "        ", "1234567\x80", "1234567/"}) {
        m_log.TakeLines();
        FakeDrives::ata["/dev/ada0"] = FakeDrives::Ata(invalid, "M", "F");
        EXPECT_EQ(Ata()->Update(), 0xECA60106U) << invalid;
        EXPECT_THAT(m_log.TakeLines(), ElementsAre("None: CPhysicalDrive::GetCheckSerialNumber failed!"));
    }
    FakeDrives::nvme["/dev/nvme0"] = FakeDrives::Nvme("1234567", "M", "F");
    EXPECT_EQ(Nvme()->Update(), 0xECA60106U);
}

TEST_F(PhysicalDriveTest, ValidateSerialnumberCountsCharactersBeforeItLooksAtThem) {
    EXPECT_FALSE(CPhysicalDrive::ValidateSerialnumber("1234567"));
    EXPECT_TRUE(CPhysicalDrive::ValidateSerialnumber("12 45 78"));
    EXPECT_FALSE(CPhysicalDrive::ValidateSerialnumber("1234567:"));
    EXPECT_TRUE(CPhysicalDrive::ValidateSerialnumber("        ")); // blanks are allowed: texts are trimmed before
}

TEST_F(PhysicalDriveTest, AtaTextsAreExchangedWordByWordAndTrimmed) {
    EXPECT_EQ(CPhysicalDrive::GetAtaString("badc", 4), "abcd");
    EXPECT_EQ(CPhysicalDrive::GetAtaString(" a b", 4), "a b");
    EXPECT_EQ(CPhysicalDrive::GetAtaString("        ", 8), "");
    EXPECT_EQ(CPhysicalDrive::GetAtaString("bac", 3), "ab"); // the last one goes behind the end
    EXPECT_EQ(CPhysicalDrive::GetAtaString("x", 0), "");
    EXPECT_EQ(CPhysicalDrive::TrimAtaString(" \t\n a b \v\f\r ", 12), "a b");
    EXPECT_EQ(CPhysicalDrive::TrimAtaString(" \t ", 3), "");
    EXPECT_EQ(CPhysicalDrive::TrimAtaString("abc", 2), "ab");
}

TEST_F(PhysicalDriveTest, NvmeTextsAreCutAtTheirFieldsAndTrimmedOfBlanksAlone) {
    TFakeNvme& fake = FakeDrives::nvme["/dev/nvme0"];
    fake = FakeDrives::Nvme("SERIALSERIALSERIAL20", std::string(40, 'M'), "FIRMWARE");
    auto drive = Nvme();
    EXPECT_EQ(drive->Update(), 0U);
    EXPECT_THAT(FakeDrives::calls, ElementsAre("open /dev/nvme0", "nvme 06 0 1 4096", "close"));
    EXPECT_EQ(drive->serialNumber, "SERIALSERIALSERIAL20");
    EXPECT_EQ(drive->model, std::string(40, 'M'));
    EXPECT_EQ(drive->firmwareRevision, "FIRMWARE");
    fake = FakeDrives::Nvme("  12345678 ", " \tmodel ", " f ");
    drive = Nvme();
    EXPECT_EQ(drive->Update(), 0U);
    EXPECT_EQ(drive->serialNumber, "12345678");
    EXPECT_EQ(drive->model, "\tmodel");
    EXPECT_EQ(drive->firmwareRevision, "f");
}

TEST_F(PhysicalDriveTest, AnNvmeDriveIsMadeOfOneNumberOnly) {
    const unsigned char number = 0;
    EXPECT_EQ(CPhysicalDriveNVMe::Create(number, number), nullptr);
}

// --- health data ----------------------------------------------------------------------------------------------------

TEST_F(PhysicalDriveTest, RecordedAttributesAreRead) {
    TFakeAta& fake = FakeDrives::ata["/dev/ada0"];
    Load(fake.identify, "ada0-identify.bin");
    Load(fake.data, "ada0-smart-data.bin");
    Load(fake.thresholds, "ada0-smart-thresholds.bin");
    auto drive = Updated();
    EXPECT_EQ(drive->ReadSmart(), 0U);
    EXPECT_THAT(FakeDrives::calls,
                ElementsAre("open /dev/ada0", "ata B0 D0 4F C2 60000 512", "ata B0 D1 4F C2 60000 512", "close"));
    EXPECT_EQ(drive->AttributeCount(), 7U);
    const TSmartInfo temperature = drive->GetSmartInfoByID(0xBE);
    EXPECT_EQ(temperature.id, 0xBE);
    // A packed record: the plus makes values of what no reference may be bound to.
    EXPECT_EQ(+temperature.flags, 3);
    EXPECT_EQ(temperature.value, 0x45);
    EXPECT_EQ(temperature.worst, 0x45);
    EXPECT_EQ(RawOf(temperature), 0x1F1F001FU);
    EXPECT_EQ(temperature.threshold, 0x32);
    EXPECT_EQ(+drive->GetSmartInfoByID(4).flags, 2);
    EXPECT_EQ(RawOf(drive->GetSmartInfoByID(4)), 0x64U);
    EXPECT_EQ(drive->GetSmartInfoByID(99).id, 0);
}

TEST_F(PhysicalDriveTest, AnAttributeIsKeptAsRecordAndAsRawEntry) {
    TFakeAta& fake = FakeDrives::ata["/dev/ada0"] = FakeDrives::Ata("12345678", "M", "F");
    FakeDrives::Put(fake, 0, 0xE9, 97, 0x665544332211, 10);
    auto drive = Updated();
    EXPECT_EQ(drive->ReadSmart(), 0U);
    const TSmartInfo info = drive->GetSmartInfoByID(0xE9);
    EXPECT_EQ(+info.flags, 0x0133);
    EXPECT_EQ(info.value, 97);
    EXPECT_EQ(info.worst, 96);
    EXPECT_EQ(RawOf(info), 0x665544332211U);
    EXPECT_EQ(info.threshold, 10);
    unsigned char entry[12] = {};
    drive->GetSmartAttributeRawByID(0xE9, entry, 0);
    EXPECT_THAT(entry, ElementsAre(0xE9, 0x33, 0x01, 97, 96, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0xEE));
}

TEST_F(PhysicalDriveTest, PlacesWithoutOrWithDifferentIdsAreSkippedAndTheRestIsPacked) {
    TFakeAta& fake = FakeDrives::ata["/dev/ada0"] = FakeDrives::Ata("12345678", "M", "F");
    FakeDrives::Put(fake, 0, 1, 50, 11);
    FakeDrives::Put(fake, 2, 2, 50, 22);
    FakeDrives::Put(fake, 3, 3, 50, 33);
    FakeDrives::Put(fake, 29, 4, 50, 44);
    fake.thresholds[2 + 2 * 12] = 9;
    FakeDrives::FixChecksums(fake);
    auto drive = Updated();
    EXPECT_EQ(drive->ReadSmart(), 0U);
    EXPECT_EQ(drive->AttributeCount(), 3U);
    EXPECT_EQ(drive->GetSmartInfoByID(2).id, 0);
    EXPECT_EQ(drive->GetSmartInfoByID(9).id, 0);
    EXPECT_EQ(RawOf(drive->GetSmartInfoByID(3)), 33U);
    EXPECT_EQ(RawOf(drive->GetSmartInfoByID(4)), 44U);
    m_log.TakeLines();
    unsigned char entry[12] = {7};
    drive->GetSmartAttributeRawByID(3, entry, 12);
    EXPECT_EQ(entry[5], 33);
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("None: GetSmartAttributeRawByID Searching for: 3 Current ID: 1",
                                               "None: GetSmartAttributeRawByID Searching for: 3 Current ID: 3"));
}

TEST_F(PhysicalDriveTest, ABlockWithAWrongChecksumGivesNoAttributesAndNoError) {
    for (const bool ofThresholds : {false, true}) {
        TFakeAta& fake = FakeDrives::ata["/dev/ada0"] = FakeDrives::Ata("12345678", "M", "F");
        FakeDrives::Put(fake, 0, 1, 50, 11);
        ++(ofThresholds ? fake.thresholds : fake.data)[511];
        auto drive = Updated();
        EXPECT_EQ(drive->ReadSmart(), 0U);
        EXPECT_EQ(drive->AttributeCount(), 0U);
        EXPECT_EQ(drive->GetSmartInfoByID(1).id, 0);
        EXPECT_THAT(m_log.TakeLines(), ElementsAre("None: CPhysicalDrive::VerifySmartData - invalid checksum!"));
    }
}

TEST_F(PhysicalDriveTest, HealthDataThatFailsInTheMiddleClosesTheDevice) {
    struct TCase {
        int fails;
        TLines calls;
        TLines lines;
    };

    const TCase cases[] = {
        {0xD0,
         {"open /dev/ada0", "ata B0 D0 4F C2 60000 512", "close"},
         {"None: CPhysicalDrive_Posix::IoCtrl 0xB0 failed: 0xECA70005",
          "None: CPhysicalDrive::ReadSmart - ReadSmartAttributes failed!"}},
        {0xD1,
         {"open /dev/ada0", "ata B0 D0 4F C2 60000 512", "ata B0 D1 4F C2 60000 512", "close"},
         {"None: CPhysicalDrive_Posix::IoCtrl 0xB0 failed: 0xECA70005",
          "None: CPhysicalDrive::ReadSmart - ReadSmartThresholds failed!"}},
    };
    for (const TCase& test : cases) {
        TFakeAta& fake = FakeDrives::ata["/dev/ada0"] = FakeDrives::Ata("12345678", "M", "F");
        FakeDrives::Put(fake, 0, 1, 50, 11);
        fake.fails = test.fails;
        auto drive = Updated();
        EXPECT_EQ(drive->ReadSmart(), 0xECA60105U);
        EXPECT_EQ(FakeDrives::calls, test.calls);
        EXPECT_EQ(m_log.TakeLines(), test.lines);
        EXPECT_EQ(drive->AttributeCount(), 0U);
    }
}

TEST_F(PhysicalDriveTest, ADriveThatHasGoneHasNoHealthData) {
    FakeDrives::ata["/dev/ada0"] = FakeDrives::Ata("12345678", "M", "F");
    auto drive = Updated();
    FakeDrives::ata.clear();
    EXPECT_EQ(drive->ReadSmart(), 0xECA60001U);
    EXPECT_THAT(FakeDrives::calls, ElementsAre("open /dev/ada0"));
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("None: CPhysicalDrive::ReadSmart failed!"));
}

TEST_F(PhysicalDriveTest, SmartThatIsMissingOrSwitchedOffStaysUnread) {
    FakeDrives::ata["/dev/ada0"] = FakeDrives::Ata("12345678", "M", "F", 0);
    EXPECT_EQ(Updated()->ReadSmart(), 0xECA60105U);
    EXPECT_THAT(FakeDrives::calls, ElementsAre("open /dev/ada0", "close"));
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("None: CPhysicalDrive::ReadSmart - SMART not supported!"));
    FakeDrives::ata["/dev/ada0"] = FakeDrives::Ata("12345678", "M", "F", 1);
    EXPECT_EQ(Updated()->ReadSmart(), 0xECA60105U);
    EXPECT_THAT(FakeDrives::calls, ElementsAre("open /dev/ada0", "close"));
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("None: CPhysicalDrive::ReadSmart - Enable smart failed!"));
}

TEST_F(PhysicalDriveTest, RawBlocksAreCopiedWholeWhateverTheLength) {
    TFakeAta& fake = FakeDrives::ata["/dev/ada0"] = FakeDrives::Ata("12345678", "M", "F");
    FakeDrives::Put(fake, 0, 1, 50, 11, 5);
    FakeDrives::Put(fake, 1, 2, 50, 22, 6);
    auto drive = Updated();
    drive->ReadSmart();
    unsigned char block[512] = {};
    drive->GetSmartAttributesRAW(block, 1);
    EXPECT_EQ(std::memcmp(block, fake.data.data(), sizeof block), 0);
    drive->GetSmartThresholdsRAW(block, 1);
    EXPECT_EQ(std::memcmp(block, fake.thresholds.data(), sizeof block), 0);

    // The entry's number counts single bytes of the threshold block: meant.
    unsigned char entry[12] = {};
    drive->GetSmartThresholdRawByID(2, entry, 12);
    EXPECT_EQ(std::memcmp(entry, &fake.thresholds[1], sizeof entry), 0);
    std::memset(entry, 7, sizeof entry);
    drive->GetSmartThresholdRawByID(99, entry, 12);
    drive->GetSmartAttributeRawByID(99, entry, 12);
    EXPECT_THAT(entry, ::testing::Each(7));
}

TEST_F(PhysicalDriveTest, ChecksumIsTheSumOfTheBytes) {
    const unsigned char bytes[] = {0xFF, 0x02, 0x10};
    EXPECT_EQ(CPhysicalDrive::Checksum(bytes, 3), 0x11);
    EXPECT_EQ(CPhysicalDrive::Checksum(bytes, 1), 0xFF);
    EXPECT_EQ(CPhysicalDrive::Checksum(bytes, 0), 0);
    EXPECT_EQ(CPhysicalDrive::Checksum(bytes, -1), 0);
}

TEST_F(PhysicalDriveTest, ARequestWithoutADeviceIsRefused) {
    PhysicalDrive::CPhysicalDrive_Posix drive(0);
    unsigned char block[512] = {};
    EXPECT_FALSE(drive.IoCtrl(0xEC, 0, block, sizeof block));
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("Error: CPhysicalDrive_Posix::IoCtrl m_camdev is nullptr"));
}

// --- NVMe health data ------------------------------------------------------------------------------------------------

TEST_F(PhysicalDriveTest, TheHealthLogBecomesFifteenAttributes) {
    TFakeNvme& fake = FakeDrives::nvme["/dev/nvme0"] = FakeDrives::Nvme("12345678", "M", "F");
    for (std::size_t at = 0; at < fake.log.size(); ++at) {
        fake.log[at] = static_cast<unsigned char>(at % 251 + 1);
    }
    fake.log[5] = 3;
    auto drive = Nvme();
    EXPECT_EQ(drive->Update(), 0U);
    FakeDrives::calls.clear();
    EXPECT_EQ(drive->ReadSmart(), 0U);
    EXPECT_THAT(FakeDrives::calls, ElementsAre("open /dev/nvme0", "nvme 02 FFFFFFFF 2 512", "close"));
    EXPECT_EQ(drive->AttributeCount(), 15U);
    const std::uint64_t expected[] = {0x01,           0x0302,         0x04,           0x05,           97,
                                      0x262524232221, 0x363534333231, 0x464544434241, 0x565554535251, 0x666564636261,
                                      0x767574737271, 0x868584838281, 0x969594939291, 0xA6A5A4A3A2A1, 0xB6B5B4B3B2B1};
    for (unsigned char id = 1; id <= 15; ++id) {
        const TSmartInfo info = drive->GetSmartInfoByID(id);
        EXPECT_EQ(info.id, id);
        EXPECT_EQ(RawOf(info), expected[id - 1]) << int{id};
        EXPECT_EQ(info.flags | info.value | info.worst | info.threshold, 0);
    }
    unsigned char entry[12] = {};
    drive->GetSmartAttributeRawByID(2, entry, 12);
    EXPECT_THAT(entry, ElementsAre(2, 0, 0, 0, 0, 2, 3, 0, 0, 0, 0, 0));
    unsigned char block[512] = {};
    drive->GetSmartAttributesRAW(block, 512);
    EXPECT_EQ(std::memcmp(block, fake.log.data(), sizeof block), 0);
}

TEST_F(PhysicalDriveTest, LifeUsedBeyondHundredWraps) {
    TFakeNvme& fake = FakeDrives::nvme["/dev/nvme0"] = FakeDrives::Nvme("12345678", "M", "F");
    fake.log[5] = 120;
    auto drive = Nvme();
    drive->Update();
    drive->ReadSmart();
    EXPECT_EQ(RawOf(drive->GetSmartInfoByID(5)), 236U);
}

TEST_F(PhysicalDriveTest, ALogPageThatIsRefusedGivesNoAttributes) {
    TFakeNvme& fake = FakeDrives::nvme["/dev/nvme0"] = FakeDrives::Nvme("12345678", "M", "F");
    fake.log.fill(0x55);
    auto drive = Nvme();
    drive->Update();
    fake.fails = 0x02;
    EXPECT_EQ(drive->ReadSmart(), 0xECA60105U);
    EXPECT_THAT(m_log.TakeLines(),
                ElementsAre("None: CPhysicalDriveNVMe_Posix::ReadSmartAttributes NVME_OPC_GET_LOG_PAGE failed: 5",
                            "None: CPhysicalDrive::ReadSmart - ReadSmartAttributes failed!"));
    fake.fails = -1;
    fake.refused = 0x02;
    EXPECT_EQ(drive->ReadSmart(), 0xECA60105U);
    EXPECT_THAT(m_log.TakeLines(),
                ElementsAre("None: CPhysicalDriveNVMe_Posix::ReadSmartAttributes nvme_completion_is_error!",
                            "None: CPhysicalDrive::ReadSmart - ReadSmartAttributes failed!"));
    unsigned char block[512] = {};
    drive->GetSmartAttributesRAW(block, 512);
    EXPECT_THAT(block, ::testing::Each(0)); // only a good log page is kept
    EXPECT_EQ(drive->AttributeCount(), 0U);
}

// --- RAID ------------------------------------------------------------------------------------------------------------

class RaidDrive : public CPhysicalDriveRAID {
public:
    RaidDrive() : CPhysicalDriveRAID(0) {}

    void Take(const TFakeAta& drive) {
        std::memcpy(m_identifyArea.data() + 11, drive.identify.data(), 512);
        VerifyIdentifyDeviceData();
    }

    bool SmartEnabled() const { return m_smartSupported && m_smartEnabled; }

    std::uint8_t IdentifyChecksum() const { return m_identifyChecksum; }
};

TEST_F(PhysicalDriveTest, RaidDrivesAreNeverFoundAndWouldHaveTheirIdentityElevenBytesFurtherOn) {
    EXPECT_THAT(CPhysicalDriveRAID::GetDrives(), IsEmpty());
    RaidDrive drive;
    EXPECT_EQ(drive.Update(), 0xECA60001U);
    EXPECT_EQ(drive.IdentifyChecksum(), 0xFF);
    const TFakeAta identity = FakeDrives::Ata("RAID-SERIAL", "RAID MODEL", "R1");
    drive.Take(identity);
    EXPECT_EQ(drive.IdentifyChecksum(), CPhysicalDrive::Checksum(identity.identify.data(), 512));
    EXPECT_EQ(drive.serialNumber, "RAID-SERIAL");
    EXPECT_EQ(drive.model, "RAID MODEL");
    EXPECT_EQ(drive.firmwareRevision, "R1");
    EXPECT_TRUE(drive.SmartEnabled());
}

} // namespace
