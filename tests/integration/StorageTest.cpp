// Drives and discs over the socket. The drives are simulated, from a scenario that the tests change as they go.
#include <sys/mount.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include "ServiceTest.h"

namespace {

namespace fs = std::filesystem;

// Slots follow the order of creation: two adapters, then the discs; the drives are looked for by their type.
constexpr unsigned s_typeDiscs = 29;
constexpr unsigned s_typeDrives = 32;

const Bytes s_ok = "00 00 00 00"_hex;
const Bytes s_notSupported = "00 10 A6 EC"_hex;
const Bytes s_noFlash = "01 07 AF EC"_hex;
const Bytes s_noHardDisk = "02 07 AF EC"_hex;
const Bytes s_invalidIndex = "00 01 A6 EC"_hex;

Bytes Text(const std::string& text) {
    return {text.begin(), text.end()};
}

struct TAnswer {
    Bytes code;
    Bytes value;

    bool operator==(const TAnswer&) const = default;
};

std::ostream& operator<<(std::ostream& out, const TAnswer& answer) {
    return out << ToHex(answer.code) << " / " << ToHex(answer.value);
}

class StorageTest : public ServiceTest {
protected:
    void SetUp() override {
        std::ofstream("/usr/local/bin/mdpdrive.xml") << R"(<DRIVE_SMART_CONFIG>
<DEVICE model="FLASH" firmware="" name="Flash" type="2">
 <r name="EraseCountAverage" id="A7" datatype="1" opt1="5" opt2="10"/><r name="EraseCountSpecified" datatype="3" opt1="3000"/>
 <r name="SpareBlocksRemaining" id="A1" datatype="1" opt1="5" opt2="10"/><r name="SpareBlocksUsed" id="A2" datatype="1" opt1="5" opt2="10"/>
</DEVICE><DEVICE model="DISK" firmware="" name="Disk" type="1">
 <r name="ReallocatedSectors" id="05" datatype="1" opt1="5" opt2="6"/><r name="PendingSectors" id="C5" datatype="1" opt1="5" opt2="10"/>
</DEVICE><DEVICE model="NVME" firmware="" name="Nvme" type="2">
 <r name="CyclesLeftPercent" id="05" datatype="1" opt1="5" opt2="5"/><r name="SpareBlocksLeftPercent" id="03" datatype="1" opt1="5" opt2="5"/>
</DEVICE><DEVICE model="OTHER" firmware="" name="Other" type="0"/></DRIVE_SMART_CONFIG>)";
        SetScenario("");
        ServiceTest::SetUp();
        FindModules();
    }

    ServiceStart Start() override { return {{"-nof", "-v"}, "sylvarin", {"LD_PRELOAD=" SYLVARIN_SIMULATED_DEVICES}}; }

    static void SetScenario(const std::string& text) {
        std::ofstream("/run/machine/scenario.new") << text;
        fs::rename("/run/machine/scenario.new", "/run/machine/scenario");
        ASSERT_EQ(std::system(SYLVARIN_ENTER_DRIVES " /run/machine/scenario"), 0);
    }

    static TAnswer Read(unsigned index, unsigned subIndex) {
        const Bytes answer = WireClient::Transact(
            Join({"2A 04 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  00 00"_hex,
                  Little(index, 2), "00"_hex, Little(subIndex, 1), Bytes(8), "00 04 00 00"_hex, Bytes(1024)}));
        EXPECT_GE(answer.size(), 22U);
        if (answer.size() < 22) {
            return {};
        }
        return {Bytes(answer.begin() + 10, answer.begin() + 14), Bytes(answer.begin() + 22, answer.end())};
    }

    static Bytes Write(unsigned index, unsigned subIndex, const std::string& text) {
        const Bytes record = Join({"00 00"_hex, Little(index, 2), "00"_hex, Little(subIndex, 1), Bytes(8),
                                   Little(text.size(), 4), Text(text)});
        const Bytes answer = WireClient::Transact(Join(
            {Little(24 + record.size(), 8), "18 00 00 00 00 00 00 00"_hex, Little(24 + record.size(), 8), record}));
        return answer.size() < 14 ? Bytes() : Bytes(answer.begin() + 10, answer.begin() + 14);
    }

    void FindModules() {
        // The list wakes no module: each test finds them asleep.
        const unsigned count = Read(0xF020, 0).value[0];
        for (unsigned element = 1; element <= count; ++element) {
            const Bytes address = Read(0xF020, element).value;
            (address[2] == s_typeDiscs    ? m_discs
             : address[2] == s_typeDrives ? m_drives
                                          : m_none) = 0x8000U + address[0] * 16U;
        }
        ASSERT_NE(m_discs, 0U);
        ASSERT_NE(m_drives, 0U);
    }

    TAnswer Drive(unsigned k, unsigned row) const { return Read(m_drives + k, row); }

    TAnswer Disc(unsigned k, unsigned row) const { return Read(m_discs + k, row); }

    static bool WaitUntil(const std::function<bool()>& condition) {
        const auto end = std::chrono::steady_clock::now() + ServiceUnderTest::TimeLimit;
        while (!condition()) {
            if (std::chrono::steady_clock::now() > end) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return true;
    }

    // What the command prints, and the status that it ends with behind it.
    static std::string Mdp(const std::string& arguments) {
        FILE* pipe = popen((SYLVARIN_MDP " " + arguments + " 2>&1; echo status $?").c_str(), "r");
        std::string output;
        std::array<char, 4096> buffer;
        while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe)) {
            output.append(buffer.data(), count);
        }
        EXPECT_EQ(pclose(pipe), 0);
        return output;
    }

    static void Mount(const std::string& path, const char* source = "stick") {
        fs::create_directories(path);
        ASSERT_EQ(mount(source, path.c_str(), "tmpfs", 0, "size=1m"), 0) << path;
    }

    unsigned m_discs = 0;
    unsigned m_drives = 0;
    unsigned m_none = 0;
};

constexpr const char* s_flash = "[drive sda]\nserial = FLASH-0001\nmodel = FLASH\nattribute 161 = 100 100 3\n"
                                "attribute 162 = 100 100 1\nattribute 167 = 100 100 300\n";
constexpr const char* s_disk = "[drive sdb]\nserial = DISK-00001\nmodel = DISK\nattribute 5 = 100 100 12\n"
                               "attribute 197 = 100 100 1\n";
constexpr const char* s_nvme = "[drive nvme0]\nserial = NVME-00001\nmodel = NVME\nspare = 97\nused = 3\n";
constexpr const char* s_other = "[drive sdc]\nserial = OTHER-0001\nmodel = OTHER\n";
constexpr const char* s_unknown = "[drive sdd]\nserial = UNKNOWN-01\nmodel = NEVER SEEN\n";

} // namespace

TEST_F(StorageTest, WithoutDrivesAllArraysAreThereAndEmpty) {
    for (unsigned k = 1; k <= 15; ++k) {
        EXPECT_EQ(Drive(k, 0), (TAnswer{s_ok, "00 00"_hex})) << k;
        EXPECT_EQ(Drive(k, 1).code, s_invalidIndex) << k;
    }
}

TEST_F(StorageTest, EveryKindOfDriveAnswersAsItsTableTells) {
    SetScenario(std::string(s_flash) + s_disk + s_nvme + s_other + s_unknown);
    EXPECT_EQ(Drive(1, 0), (TAnswer{s_ok, "05 00"_hex}));
    const char* serials[] = {"FLASH-0001", "NVME-00001", "DISK-00001", "OTHER-0001", "UNKNOWN-01"};
    for (unsigned row = 1; row <= 5; ++row) {
        EXPECT_EQ(Drive(1, row), (TAnswer{s_ok, Text(serials[row - 1])}));
        EXPECT_EQ(Drive(2, row).code, s_notSupported);
        EXPECT_EQ(Drive(3, row).code, s_notSupported);
    }
    EXPECT_EQ(Drive(4, 1), (TAnswer{s_ok, Text("Flash")}));
    EXPECT_EQ(Drive(5, 1), (TAnswer{s_ok, "02"_hex}));
    EXPECT_EQ(Drive(6, 1).code, s_notSupported);
    EXPECT_EQ(Drive(7, 1).code, s_notSupported);
    EXPECT_EQ(Drive(8, 1), (TAnswer{s_ok, "5A 00"_hex}));
    EXPECT_EQ(Drive(9, 1), (TAnswer{s_ok, Little(3, 8)}));
    EXPECT_EQ(Drive(10, 1), (TAnswer{s_ok, Little(4, 8)}));
    EXPECT_EQ(Drive(11, 1), (TAnswer{s_ok, "4B 00"_hex}));
    EXPECT_EQ(Drive(12, 1).code, s_noHardDisk);
    EXPECT_EQ(Drive(8, 2), (TAnswer{s_ok, "61 00"_hex}));
    EXPECT_EQ(Drive(9, 2).code, s_notSupported);
    EXPECT_EQ(Drive(10, 2).code, s_notSupported);
    EXPECT_EQ(Drive(11, 2), (TAnswer{s_ok, "61 00"_hex}));
    EXPECT_EQ(Drive(5, 3), (TAnswer{s_ok, "01"_hex}));
    for (unsigned k = 6; k <= 11; ++k) {
        EXPECT_EQ(Drive(k, 3).code, s_noFlash) << k;
        EXPECT_EQ(Drive(k, 4).code, s_noFlash) << k;
    }
    EXPECT_EQ(Drive(12, 3), (TAnswer{s_ok, Little(12, 8)}));
    EXPECT_EQ(Drive(13, 3).code, s_notSupported);
    EXPECT_EQ(Drive(14, 3), (TAnswer{s_ok, Little(1, 8)}));
    EXPECT_EQ(Drive(15, 3).code, s_notSupported);
    EXPECT_EQ(Drive(4, 4), (TAnswer{s_ok, Text("Other")}));
    EXPECT_EQ(Drive(5, 4), (TAnswer{s_ok, "00"_hex}));
    EXPECT_EQ(Drive(12, 4).code, s_noHardDisk);
    for (unsigned k = 4; k <= 15; ++k) {
        EXPECT_EQ(Drive(k, 5).code, s_notSupported) << k;
    }
}

TEST_F(StorageTest, DrivesComeGoAndChangePlaces) {
    SetScenario(s_flash);
    EXPECT_EQ(Drive(1, 0), (TAnswer{s_ok, "01 00"_hex}));
    SetScenario("[drive sda]\nserial = DISK-00001\nmodel = DISK\n[drive sdb]\nserial = FLASH-0001\nmodel = FLASH\n"
                "[drive sdc]\nserial = DISK-00001\nmodel = DISK\n"); // the same drive once more
    EXPECT_TRUE(WaitUntil([this] { return Drive(1, 1).value == Text("DISK-00001"); }));
    EXPECT_EQ(Drive(1, 0), (TAnswer{s_ok, "02 00"_hex}));
    EXPECT_EQ(Drive(1, 2), (TAnswer{s_ok, Text("FLASH-0001")}));
    SetScenario("");
    EXPECT_TRUE(WaitUntil([this] { return Drive(1, 0).value == "00 00"_hex; }));
}

TEST_F(StorageTest, ADriveThatFailsInTheMiddleHasNoFiguresAndLeavesTheOthersAlone) {
    SetScenario(std::string(s_flash) + "data_error = 5\n" + s_disk + "checksum = data\n" + s_nvme +
                "log_refused = 1\n");
    EXPECT_EQ(Drive(1, 0), (TAnswer{s_ok, "03 00"_hex}));
    EXPECT_EQ(Drive(4, 1), (TAnswer{s_ok, Text("Flash")}));
    EXPECT_EQ(Drive(8, 1).code, s_notSupported);
    EXPECT_EQ(Drive(8, 2).code, s_notSupported);
    EXPECT_EQ(Drive(12, 3).code, s_notSupported);
}

TEST_F(StorageTest, ADriveThatBlocksDelaysReadersOfTheseArraysOnly) {
    SetScenario(std::string(s_flash) + "data_delay = 5000\n");
    std::atomic<bool> answered{false};
    std::thread reader([&] {
        EXPECT_EQ(Drive(8, 1), (TAnswer{s_ok, "5A 00"_hex}));
        answered = true;
    });
    EXPECT_EQ(Disc(1, 0), (TAnswer{s_ok, "00 00"_hex}));
    EXPECT_EQ(Read(0xF020, 0).code, s_ok);
    EXPECT_EQ(Read(0x1000, 0).code, s_ok);
    EXPECT_FALSE(answered);
    reader.join();
}

TEST_F(StorageTest, TwentyDrivesComeGoAndChangePlacesUnderLoad) {
    const auto scenario = [](unsigned first, unsigned count) {
        std::string text;
        for (unsigned at = 0; at < count; ++at) {
            const std::string serial = "SERIAL-" + std::to_string(100 + (first + at) % 20);
            text += "[drive sd" + std::string(1, static_cast<char>('a' + at)) + "]\nserial = " + serial +
                    "\nmodel = FLASH\nattribute 167 = 100 100 300\n";
        }
        return text;
    };
    SetScenario(scenario(0, 20));
    EXPECT_EQ(Drive(1, 0), (TAnswer{s_ok, "14 00"_hex}));
    std::atomic<bool> stop{false};
    std::vector<std::thread> readers;
    for (unsigned number = 0; number < 4; ++number) {
        readers.emplace_back([&, number] {
            while (!stop) {
                const Bytes count = Drive(1 + number * 4 % 15, 0).value;
                ASSERT_EQ(count.size(), 2U);
                for (unsigned row = 1; row <= count[0]; ++row) {
                    const Bytes code = Drive(8, row).code;
                    ASSERT_TRUE(code == s_ok || code == s_invalidIndex) << ToHex(code);
                }
                std::this_thread::sleep_for(
                    std::chrono::milliseconds(5)); // or they take the processor of all other tests
            }
        });
    }
    for (const auto& [first, count] : std::initializer_list<std::pair<unsigned, unsigned>>{{7, 20}, {3, 5}, {0, 20}}) {
        SetScenario(scenario(first, count));
        const Bytes serial = Text("SERIAL-" + std::to_string(100 + first));
        EXPECT_TRUE(WaitUntil([&, size = Little(count, 2)] {
            return Drive(1, 0).value == size && Drive(1, 1).value == serial;
        })) << first;
    }
    stop = true;
    for (std::thread& reader : readers) {
        reader.join();
    }
}

TEST_F(StorageTest, MediaAreListedByTheirPathsAndComeAndGo) {
    EXPECT_EQ(Disc(1, 0), (TAnswer{s_ok, "00 00"_hex}));
    Mount("/media/b");
    Mount("/media/a b/c\\d", "so#urce");
    Mount("/mediastore");
    EXPECT_TRUE(WaitUntil([this] { return Disc(1, 0).value == "02 00"_hex; }));
    EXPECT_EQ(Disc(1, 1), (TAnswer{s_ok, Text("/media/a b/c\\d")}));
    EXPECT_EQ(Disc(2, 1), (TAnswer{s_ok, Text("so#urce")}));
    EXPECT_EQ(Disc(3, 1), (TAnswer{s_ok, Text("tmpfs")}));
    EXPECT_EQ(Disc(4, 1), (TAnswer{s_ok, Little(2, 4)}));
    EXPECT_EQ(Disc(5, 1), (TAnswer{s_ok, Little(1048576, 8)}));
    EXPECT_EQ(Disc(6, 1), (TAnswer{s_ok, Little(1048576, 8)}));
    EXPECT_EQ(Disc(1, 2), (TAnswer{s_ok, Text("/media/b")}));
    std::ofstream("/media/b/file") << std::string(4096, 'x');
    EXPECT_EQ(Disc(6, 2), (TAnswer{s_ok, Little(1048576 - 4096, 8)})); // at once, and no new table
    EXPECT_EQ(Write(m_discs + 2, 1, "new"), s_notSupported);
    EXPECT_EQ(Disc(2, 1), (TAnswer{s_ok, Text("so#urce")}));
    ASSERT_EQ(umount("/media/b"), 0);
    EXPECT_TRUE(WaitUntil([this] { return Disc(1, 0).value == "01 00"_hex; }));
    EXPECT_EQ(Disc(6, 2).code, s_invalidIndex);
}

TEST_F(StorageTest, PoolsStandInFrontWithTheFreeSpaceOfTheFirst) {
    const std::string tools = SYLVARIN_ADAPTERS "/sbin/";
    fs::create_directories(tools);
    std::ofstream(tools + "zpool") << "#!/bin/sh\nprintf 'tank\\nold pool\\n'\n";
    std::ofstream(tools + "zfs") << "#!/bin/sh\ncase \"$4 $5\" in 'avail tank') echo 700;; 'used tank') echo 300;; "
                                    "'avail old pool') echo -;; 'used old pool') echo 50;; *) exit 1;; esac\n";
    for (const char* tool : {"zpool", "zfs"}) {
        fs::permissions(tools + tool, fs::perms(0755));
    }
    Mount("/media/x");
    EXPECT_EQ(Disc(1, 0), (TAnswer{s_ok, "03 00"_hex}));
    EXPECT_EQ(Disc(1, 1), (TAnswer{s_ok, Text("/")}));
    EXPECT_EQ(Disc(2, 1), (TAnswer{s_ok, Text("tank")}));
    EXPECT_EQ(Disc(3, 1), (TAnswer{s_ok, Text("ZFS")}));
    EXPECT_EQ(Disc(4, 1), (TAnswer{s_ok, Little(1, 4)}));
    EXPECT_EQ(Disc(5, 1), (TAnswer{s_ok, Little(1000, 8)}));
    EXPECT_EQ(Disc(6, 1), (TAnswer{s_ok, Little(700, 8)}));
    EXPECT_EQ(Disc(2, 2), (TAnswer{s_ok, Text("old pool")}));
    EXPECT_EQ(Disc(5, 2), (TAnswer{s_ok, Little(50, 8)}));  // without a number for what is available
    EXPECT_EQ(Disc(6, 2), (TAnswer{s_ok, Little(700, 8)})); // the first pool's: meant
    EXPECT_EQ(Disc(1, 3), (TAnswer{s_ok, Text("/media/x")}));
    std::ofstream(tools + "zpool") << "#!/bin/sh\nexit 1\n";
    EXPECT_TRUE(WaitUntil([this] { return Disc(1, 0).value == "01 00"_hex; }));
    EXPECT_TRUE(fs::is_empty("/tmp") || std::none_of(fs::directory_iterator("/tmp"), fs::directory_iterator(),
                                                     [](const fs::directory_entry& entry) {
                                                         return entry.path().filename().string().starts_with("file");
                                                     }));
}

TEST_F(StorageTest, MdpShowsTheHealthOfEveryKindOfDrive) {
    EXPECT_EQ(Mdp("drives"), "SERIAL NUMBER  MODEL  KIND  LIFE LEFT  SPARE LEFT  ERRORS  STATE\nstatus 0\n");
    SetScenario(std::string(s_flash) + s_disk + s_nvme + s_other + s_unknown);
    EXPECT_TRUE(WaitUntil([this] { return Drive(1, 0).value == "05 00"_hex; }));
    EXPECT_EQ(Mdp("drives"),
              "SERIAL NUMBER  MODEL  KIND       LIFE LEFT          SPARE LEFT         ERRORS             STATE\n"
              "FLASH-0001     Flash  flash       90% [######### ]   75% [#######   ]  -                  good\n"
              "NVME-00001     Nvme   flash       97% [######### ]   97% [######### ]  -                  good\n"
              "DISK-00001     Disk   hard disk  -                  -                  12 bad, 1 pending  "
              "unreadable sectors\n"
              "OTHER-0001     Other  other      -                  -                  -                  not known\n"
              "UNKNOWN-01     -      unknown    -                  -                  -                  not known\n"
              "status 0\n");
    const std::string json = Mdp("drives --json");
    EXPECT_NE(json.find(R"(  {
    "serial": "DISK-00001",
    "model": "Disk",
    "kind": "hard disk",
    "lifeLeftPercent": null,
    "spareLeftPercent": null,
    "reallocatedSectors": 12,
    "spinRetries": null,
    "pendingSectors": 1,
    "crcErrors": null,
    "state": "unreadable sectors"
  },
)"),
              std::string::npos)
        << json;
}

TEST_F(StorageTest, MdpShowsPoolsAndMediaWithTheirFreeSpace) {
    fs::create_directories(SYLVARIN_ADAPTERS "/sbin");
    for (const char* tool : {"/zpool", "/zfs"}) {
        fs::copy_file(std::string(SYLVARIN_POOLS) + tool, std::string(SYLVARIN_ADAPTERS "/sbin") + tool);
    }
    EXPECT_EQ(Mdp("discs"), "PATH  NAME  KIND  FILE SYSTEM  SIZE  FREE  USED\nstatus 0\n");
    SetScenario("[pool tank]\navail = 1500000\nused = 500000\n[pool old one]\nused = 50\n");
    Mount("/media/a b");
    EXPECT_TRUE(WaitUntil([this] { return Disc(1, 0).value == "03 00"_hex; }));
    EXPECT_EQ(
        Mdp("discs"),
        "PATH        NAME     KIND    FILE SYSTEM     SIZE     FREE  USED\n"
        "/           tank     pool    ZFS          1.9 MiB  1.4 MiB   25% [##        ]\n"
        "/           old one  pool    ZFS             50 B  1.4 MiB    0% [          ]\n" // the first one's: meant
        "/media/a b  stick    medium  tmpfs        1.0 MiB  1.0 MiB    0% [          ]\n"
        "status 0\n");
}
