#include "CommandsTest.h"

using testing::HasSubstr;

namespace {

constexpr std::uint32_t s_notSupported = 0xECA61000;
constexpr std::uint32_t s_noFlash = 0xECAF0701;
constexpr std::uint32_t s_noHardDisk = 0xECAF0702;

class StorageCommands : public CommandsTest {
protected:
    void AddTable(std::uint16_t header, unsigned columns) {
        for (unsigned k = 1; k <= columns; ++k) {
            m_machine.objects[static_cast<std::uint16_t>(header + k)] = {8, "Column", {CountEntry(0)}};
        }
    }

    // One element for each column from the first on.
    void AddRow(std::uint16_t header, const std::vector<FakeEntry>& row) {
        for (std::size_t at = 0; at < row.size(); ++at) {
            auto& entries = m_machine.objects[static_cast<std::uint16_t>(header + 1 + at)].entries;
            entries.push_back(row[at]);
            entries[0] = CountEntry(static_cast<std::uint8_t>(entries.size() - 1));
        }
    }

    static FakeEntry String(const std::string& text) { return {9, "r-", "", Text(text)}; }

    static FakeEntry None(std::uint32_t code) { return {27, "r-", "", {}, code}; }

    static FakeEntry Wide(std::uint64_t number) { return {27, "r-", "", Number(number, 8)}; }

    static FakeEntry Percent(int percent) { return {3, "r-", "", Number(static_cast<std::uint16_t>(percent), 2)}; }

    void AddFlash(const std::string& serial, const FakeEntry& life, const FakeEntry& spare) {
        const FakeEntry no = None(s_notSupported);
        const FakeEntry noDisk = None(s_noHardDisk);
        AddRow(0x8000, {String(serial),
                        no,
                        no,
                        String("Flash X"),
                        {5, "r-", "", {2}},
                        no,
                        no,
                        life,
                        no,
                        no,
                        spare,
                        noDisk,
                        noDisk,
                        noDisk,
                        noDisk});
    }

    void AddDisk(const std::string& serial, std::uint64_t reallocated, std::uint64_t spin, std::uint64_t pending,
                 std::uint64_t crc) {
        const FakeEntry no = None(s_notSupported);
        const FakeEntry noFlash = None(s_noFlash);
        AddRow(0x8000, {String(serial),
                        no,
                        no,
                        String("Disk Y"),
                        {5, "r-", "", {1}},
                        noFlash,
                        noFlash,
                        noFlash,
                        noFlash,
                        noFlash,
                        noFlash,
                        Wide(reallocated),
                        Wide(spin),
                        Wide(pending),
                        Wide(crc)});
    }

    void AddDrives() {
        m_machine.AddModule(0, 32, "MassStorageMonitoring", "MassStorageMonitoring");
        AddTable(0x8000, 15);
    }

    void AddDiscs() {
        m_machine.AddModule(1, 29, "DiskManagement", "DiskManagement");
        AddTable(0x8010, 6);
    }
};

} // namespace

TEST_F(StorageCommands, DrivesShowsEveryKindWithAPlainWord) {
    AddDrives();
    AddFlash("FLASH-0001", Percent(90), Percent(75));
    AddFlash("FLASH-0002", Percent(-50), None(s_notSupported));
    AddDisk("DISK-00001", 0, 0, 0, 0);
    AddDisk("DISK-00002", 12, 0, 1, 3);
    const FakeEntry no = None(s_notSupported);
    AddRow(0x8000, {String("UNKNOWN-01"), no, no, no, no, no, no, no, no, no, no, no, no, no, no});

    const Ran ran = Run({"drives"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    const char* rows[] = {
        "SERIAL NUMBER  MODEL    KIND       LIFE LEFT          SPARE LEFT         ERRORS                      STATE",
        "FLASH-0001     Flash X  flash       90% [######### ]   75% [#######   ]  -                           good",
        "FLASH-0002     Flash X  flash      -50% [          ]  -                  -                           worn out",
        "DISK-00001     Disk Y   hard disk  -                  -                  0                           good",
        "DISK-00002     Disk Y   hard disk  -                  -                  12 bad, 1 pending, 3 cable  "
        "unreadable sectors",
        "UNKNOWN-01     -        unknown    -                  -                  -                           not "
        "known",
    };
    std::string expected;
    for (const char* row : rows) {
        expected += std::string(row) + "\n";
    }
    EXPECT_EQ(ran.out, expected);
}

TEST_F(StorageCommands, StateNamesTheWorst) {
    AddDrives();
    const FakeEntry no = None(s_notSupported);
    AddFlash("A", Percent(10), Percent(100));
    AddFlash("B", Percent(11), Percent(10));
    AddFlash("C", Percent(50), Percent(0));
    AddFlash("D", no, Percent(11));
    AddDisk("E", 1, 0, 0, 1);
    AddDisk("F", 1, 1, 0, 1);
    AddDisk("G", 0, 0, 0, 1);
    const char* states[] = {"nearly worn out", "few spares",    "no spares",   "good",
                            "bad sectors",     "spin-up fails", "cable errors"};
    for (std::size_t at = 0; at < std::size(states); ++at) {
        EXPECT_THAT(Run({"--json", "drives"}).out, HasSubstr(std::string("\"state\": \"") + states[at] + "\""));
    }
}

TEST_F(StorageCommands, DrivesAsJsonHasNullForWhatIsNotPublished) {
    AddDrives();
    AddFlash("FLASH-0001", Percent(-3), None(s_notSupported));
    const std::string out = Run({"--json", "drives"}).out;
    EXPECT_THAT(out, HasSubstr("\"serial\": \"FLASH-0001\""));
    EXPECT_THAT(out, HasSubstr("\"lifeLeftPercent\": -3"));
    EXPECT_THAT(out, HasSubstr("\"spareLeftPercent\": null"));
    EXPECT_THAT(out, HasSubstr("\"pendingSectors\": null"));
}

TEST_F(StorageCommands, DiscsShowsSizesAndABar) {
    AddDiscs();
    AddRow(0x8010, {String("/"), String("tank"), String("ZFS"), {7, "r-", "", Number(1, 4)}, Wide(1024), Wide(256)});
    AddRow(0x8010, {String("/media/a\nb"),
                    String("/dev/da0s1"),
                    String("msdosfs"),
                    {7, "r-", "", Number(2, 4)},
                    Wide(0),
                    None(0xECA60FFF)});
    const Ran ran = Run({"discs"});
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "PATH           NAME        KIND    FILE SYSTEM     SIZE   FREE  USED\n"
                       "/              tank        pool    ZFS          1.0 KiB  256 B   75% [#######   ]\n"
                       "\"/media/a\\nb\"  /dev/da0s1  medium  msdosfs          0 B      -  -\n");
    const std::string json = Run({"--json", "discs"}).out;
    EXPECT_THAT(json, HasSubstr("\"size\": 1024"));
    EXPECT_THAT(json, HasSubstr("\"free\": null"));
}

TEST_F(StorageCommands, AMachineWithoutDrivesOrDiscsHasEmptyTables) {
    AddDrives();
    EXPECT_EQ(Run({"drives"}).out, "SERIAL NUMBER  MODEL  KIND  LIFE LEFT  SPARE LEFT  ERRORS  STATE\n");
    AddDiscs();
    EXPECT_EQ(Run({"discs"}).out, "PATH  NAME  KIND  FILE SYSTEM  SIZE  FREE  USED\n");
    EXPECT_EQ(Run({"--json", "discs"}).out, "[]\n");
}
