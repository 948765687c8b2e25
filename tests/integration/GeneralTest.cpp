#include <sys/mount.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <system_error>

#include "ServiceTest.h"
#include "mdp/Client.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* RC_CONF = "/etc/rc.conf";
constexpr const char* RELEASE_FILE = "/etc/os-release.d/666-vth";

const Bytes NO_ERROR = "00 00 00 00 00 00 00 00"_hex;
const Bytes NO_DATA = "05 01 A6 EC FF FF FF FF"_hex;
const Bytes INVALID_DATA = "06 01 A6 EC FF FF FF FF"_hex;
const Bytes INVALID_ARGUMENT = "07 01 A6 EC FF FF FF FF"_hex;

Bytes Text(const std::string& text) {
    return {text.begin(), text.end()};
}

std::string Contents(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void Write(const std::string& path, const std::string& text) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::trunc) << text;
}

void WriteProgram(const std::string& path, const std::string& script) {
    Write(path, "#!/bin/sh\n" + script);
    fs::permissions(path, static_cast<fs::perms>(0755));
}

std::string HostName() {
    char name[256] = {};
    EXPECT_EQ(gethostname(name, sizeof name - 1), 0);
    return name;
}

// Puts a folder of the test's own in the place of the firmware's strings, with those of the machine in it but for what
// is given. A string with the text "-" goes.
void ChangeFirmware(const std::map<std::string, std::string>& strings) {
    constexpr const char* id = "/sys/class/dmi/id";
    constexpr const char* own = "/tmp/dmi";
    fs::create_directory(own);
    for (const auto& entry : fs::directory_iterator(id)) {
        Write(own + ("/" + entry.path().filename().string()), Contents(entry.path()));
    }
    for (const auto& [name, text] : strings) {
        if (text == "-") {
            fs::remove(own + ("/" + name));
        } else {
            Write(own + ("/" + name), text + "\n");
        }
    }
    if (mount(own, id, nullptr, MS_BIND, nullptr) != 0) {
        throw std::system_error(errno, std::generic_category(), "mount");
    }
}

// Starts the service when the machine is as the test wants it.
class GeneralTest : public LogTest {
protected:
    void StartService() {
        m_service = std::make_unique<ServiceUnderTest>(ServiceStart{{"-nof", "-v"}, "sylvarin", {}});
        ASSERT_TRUE(m_service->WaitUntilAnswering()) << m_service->Output();
        ASSERT_TRUE(m_log.WaitFor("Info: Sylvarin started."));
    }

    void TearDown() override {
        if (m_service) {
            EXPECT_TRUE(m_service->IsRunning()) << m_service->Output();
            EXPECT_EQ(m_service->Stop().exitStatus, 0) << m_service->Output();
        }
        LogTest::TearDown();
    }

    // A read of sub-index 0 with room for 512 bytes.
    static Bytes Read(unsigned index) {
        return WireClient::Transact(
            Join({"2A 02 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  00 00"_hex,
                  Little(index, 2), "00  00  00 00 00 00 00 00 00 00  00 02 00 00"_hex, Bytes(512)}));
    }

    static Bytes Answer(unsigned index, const Bytes& result, const Bytes& value) {
        return Join({Little(18 + value.size(), 4), "00 00"_hex, Little(index, 2), "00  00"_hex, result,
                     Little(value.size(), 4), value});
    }

    static Bytes TextAnswer(unsigned index, const std::string& text) { return Answer(index, NO_ERROR, Text(text)); }

    // A write of the device name. The answer.
    static Bytes WriteName(const std::string& name) {
        return WireClient::Transact(
            Join({Little(42 + name.size(), 8), "18 00 00 00 00 00 00 00"_hex, Little(42 + name.size(), 8),
                  "00 00  08 10  00  00"_hex, NO_ERROR, Little(name.size(), 4), Text(name)}));
    }

    static Bytes WriteAnswer(const Bytes& result) {
        return Join({"12 00 00 00  00 00  08 10  00  00"_hex, result, "00 00 00 00"_hex});
    }

    std::unique_ptr<ServiceUnderTest> m_service;
};

struct TFirmware {
    const char* name;
    std::map<std::string, std::string> strings;
    const char* value; // null: no data
};

class HardwareVersion : public GeneralTest, public testing::WithParamInterface<TFirmware> {};

class SerialNumber : public GeneralTest, public testing::WithParamInterface<TFirmware> {};

struct TRelease {
    const char* name;
    const char* file; // null: there is none
    std::string value;
};

class SoftwareVersion : public GeneralTest, public testing::WithParamInterface<TRelease> {};

template <typename Row>
std::string NameOfRow(const testing::TestParamInfo<Row>& test) {
    return test.param.name;
}

} // namespace

TEST_F(GeneralTest, TheObjectsOfTheMachineAreOnTheWire) {
    StartService();
    EXPECT_EQ(Read(0x1000), Answer(0x1000, NO_ERROR, "89 13 10 27"_hex));
    EXPECT_EQ(Read(0x1008), TextAnswer(0x1008, "IPC-4711"));
    EXPECT_EQ(Read(0x1009), TextAnswer(0x1009, "IPC-4711;v1.4;2026-03-17"));
    EXPECT_EQ(Read(0x100A), TextAnswer(0x100A, "13.2.0.4711"));
    EXPECT_EQ(Read(0x1018), Answer(0x1018, NO_ERROR, "04 00"_hex));
    EXPECT_EQ(Read(0xF9F0), TextAnswer(0xF9F0, "SN-0815-4711"));
}

TEST_F(GeneralTest, TheMiscellaneousModuleIsNotStarted) {
    StartService();
    const auto modules = Mdp::Client().ListModules();
    ASSERT_TRUE(modules) << modules.Error().Message();
    EXPECT_FALSE(modules->empty());
    for (const Mdp::Module& module : *modules) {
        EXPECT_NE(module.type, 256) << module.name;
    }
}

TEST_F(GeneralTest, ACompleteReadOfTheDeviceTypeGivesItsOneItem) {
    StartService();
    EXPECT_EQ(WireClient::Transact("2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                                   "00 00  00 10  01  00  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex),
              "16 00 00 00  00 00  00 10  01  00  00 00 00 00 00 00 00 00  04 00 00 00  89 13 10 27"_hex);
}

TEST_F(GeneralTest, TheDeviceNameIsReadAnewEachTime) {
    StartService();
    ASSERT_EQ(sethostname("renamed-7", 9), 0);
    EXPECT_EQ(Read(0x1008), TextAnswer(0x1008, "renamed-7"));
    ASSERT_EQ(sethostname("", 0), 0);
    EXPECT_EQ(Read(0x1008), Answer(0x1008, "03 01 A6 EC FF FF FF FF"_hex, {})); // an empty text is no value
}

TEST_F(GeneralTest, AWrittenNameIsThatOfTheRunningMachineAndOfItsNextStart) {
    StartService();
    const std::string before = Contents(RC_CONF);
    ASSERT_EQ(before.find("hostname=\"IPC-4711\"\n"), 0U);

    EXPECT_EQ(WriteName("panel-7.line_2"), WriteAnswer(NO_ERROR));

    EXPECT_EQ(HostName(), "panel-7.line_2");
    EXPECT_EQ(Contents(RC_CONF), "hostname=\"panel-7.line_2\"\n" + before.substr(20));
    EXPECT_EQ(Read(0x1008), TextAnswer(0x1008, "panel-7.line_2"));
    EXPECT_TRUE(m_log.WaitFor("None: {General}::WrDeviceName() new name = panel-7.line_2"));
}

TEST_F(GeneralTest, AWriteIsFollowedByAReadOfTheNewNameInOneTransaction) {
    StartService();
    EXPECT_EQ(WireClient::Transact(
                  "5C 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2D 00 00 00 00 00 00 00"
                  "00 00  08 10  00  00  00 00 00 00 00 00 00 00  03 00 00 00  61 62 63"
                  "00 00  08 10  00  00  00 00 00 00 00 00 00 00  1D 00 00 00"
                  "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"_hex),
              "15 00 00 00  00 00  08 10  00  00  00 00 00 00 00 00 00 00  03 00 00 00  61 62 63"_hex);
}

TEST_F(GeneralTest, ANameEndsAtItsEndMark) {
    StartService();
    EXPECT_EQ(WriteName(std::string("abc\0-;x", 7)), WriteAnswer(NO_ERROR));
    EXPECT_EQ(HostName(), "abc");
}

TEST_F(GeneralTest, InvalidNamesChangeNothing) {
    StartService();
    const std::string before = Contents(RC_CONF);
    for (const char* name : {"-abc", "_abc", ".abc", "a b", "a\"b", "a;reboot", "$(reboot)", "a`id`", "a\nb", "QR_main",
                             "qr-1", "Lm-1", "lm_1", "TV-1", "wn-1", "\xC3\xA4"}) {
        m_log.Clear();
        EXPECT_EQ(WriteName(name), WriteAnswer(INVALID_ARGUMENT)) << name;
        EXPECT_TRUE(m_log.WaitFor("Error: SetDeviceName: Computername is invalid")) << name;
    }
    EXPECT_EQ(WriteName(""), WriteAnswer(INVALID_DATA));
    EXPECT_EQ(WriteName(std::string(1025, 'a')), WriteAnswer(INVALID_DATA));
    EXPECT_EQ(HostName(), "IPC-4711");
    EXPECT_EQ(Contents(RC_CONF), before);
}

TEST_F(GeneralTest, ANameThatTheSystemRefusesIsToldWithTheSystemsError) {
    StartService();
    const std::string before = Contents(RC_CONF);
    EXPECT_EQ(WriteName(std::string(64, 'a')), WriteAnswer(NO_ERROR));
    EXPECT_EQ(HostName(), std::string(64, 'a'));
    for (const std::size_t length : {std::size_t{65}, std::size_t{1024}}) { // both pass the service's own checks
        EXPECT_EQ(WriteName(std::string(length, 'b')), WriteAnswer("16 00 A7 EC FF FF FF FF"_hex)) << length;
    }
    EXPECT_EQ(HostName(), std::string(64, 'a'));
    EXPECT_EQ(Contents(RC_CONF).find("bbb"), std::string::npos);
}

TEST_F(GeneralTest, ASysrcThatFailsLeavesTheRunningNameChangedAndTellsItsStatus) {
    WriteProgram(SYLVARIN_ADAPTERS "/usr/sbin/sysrc", "printf '%s\\n' \"$#\" \"$@\" >/tmp/arguments; exit 3\n");
    StartService();
    const std::string before = Contents(RC_CONF);
    EXPECT_EQ(WriteName("abc"), WriteAnswer("00 03 A7 EC FF FF FF FF"_hex)); // as system(3) gives it
    EXPECT_EQ(Contents("/tmp/arguments"), "1\nhostname=abc\n");
    EXPECT_EQ(HostName(), "abc");
    EXPECT_EQ(Contents(RC_CONF), before);
    EXPECT_EQ(Read(0x1008), TextAnswer(0x1008, "abc"));
}

TEST_F(GeneralTest, TheConstantsCannotBeWritten) {
    StartService();
    for (const unsigned index : {0x1000U, 0x1009U, 0x100AU, 0x1018U, 0xF9F0U}) {
        EXPECT_EQ(
            WireClient::Transact(
                Join({"2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2E 00 00 00 00 00 00 00  00 00"_hex,
                      Little(index, 2), "00  00  00 00 00 00 00 00 00 00  04 00 00 00  61 62 63 64"_hex})),
            Join({"12 00 00 00  00 00"_hex, Little(index, 2), "00  00  01 01 A6 EC FF FF FF FF  00 00 00 00"_hex}))
            << index;
    }
}

TEST_P(HardwareVersion, ComesFromTheFirmware) {
    ChangeFirmware(GetParam().strings);
    StartService();
    EXPECT_EQ(Read(0x1009), TextAnswer(0x1009, GetParam().value));
}

INSTANTIATE_TEST_SUITE_P(
    Firmware, HardwareVersion,
    testing::Values(TFirmware{"Date", {{"chassis_asset_tag", "2026-03-17"}}, "IPC-4711;v1.4;2026-03-17"},
                    TFirmware{"DateAndMore", {{"chassis_asset_tag", "2026-03-17 x"}}, "IPC-4711;v1.4;2026-03-17 x"},
                    TFirmware{"NoDate", {{"chassis_asset_tag", "unknown"}}, "IPC-4711;v1.4;???\?-?\?-??"},
                    TFirmware{"WrongDate", {{"chassis_asset_tag", "2026-13-17"}}, "IPC-4711;v1.4;???\?-?\?-??"},
                    TFirmware{
                        "OtherBoard",
                        {{"product_name", "CP 77"}, {"product_version", "2.0"}, {"chassis_asset_tag", "2020-01-02"}},
                        "CP 77;v2.0;2020-01-02"},
                    TFirmware{"NoProduct", {{"product_name", "-"}}, "??????;v??.?;???\?-?\?-??"},
                    TFirmware{"NoVersion", {{"product_version", "-"}}, "??????;v??.?;???\?-?\?-??"},
                    TFirmware{"NoTag", {{"chassis_asset_tag", "-"}}, "??????;v??.?;???\?-?\?-??"}),
    NameOfRow<TFirmware>);

TEST_P(SerialNumber, ComesFromTheFirmware) {
    ChangeFirmware(GetParam().strings);
    StartService();
    EXPECT_EQ(Read(0xF9F0),
              GetParam().value != nullptr ? TextAnswer(0xF9F0, GetParam().value) : Answer(0xF9F0, NO_DATA, {}));
}

INSTANTIATE_TEST_SUITE_P(
    Firmware, SerialNumber,
    testing::Values(TFirmware{"Number", {{"product_serial", "4711"}}, "4711"},
                    TFirmware{"Oem1", {{"product_serial", "OEM1"}}, "OEM1"},
                    TFirmware{"Blanks", {{"product_serial", "  4711  "}}, "  4711  "},
                    TFirmware{"Oem", {{"product_serial", "OEM"}}, nullptr},
                    TFirmware{"OemInBlanks", {{"product_serial", "  OEM  "}}, nullptr},
                    TFirmware{"ToBeFilled", {{"product_serial", "To be filled by O.E.M."}}, nullptr},
                    TFirmware{"BlanksOnly", {{"product_serial", "   "}}, nullptr},
                    TFirmware{"None", {{"product_serial", "-"}}, nullptr},
                    TFirmware{
                        "Long",
                        {{"product_serial", std::string(200, '7')}},
                        "7777777777777777777777777777777777777777777777777777777777777777777777777777777777777777777"
                        "777777777777777777777777777777777777"}),
    NameOfRow<TFirmware>);

TEST_P(SoftwareVersion, ComesFromTheFirstLineOfTheReleaseFile) {
    fs::remove(RELEASE_FILE);
    if (GetParam().file != nullptr) {
        Write(RELEASE_FILE, GetParam().file);
    }
    StartService();
    EXPECT_EQ(Read(0x100A),
              GetParam().value.empty() ? Answer(0x100A, NO_DATA, {}) : TextAnswer(0x100A, GetParam().value));
}

const std::string LONG_RELEASE = "ZMBSD_BUILD=" + std::string(300, 'x');

INSTANTIATE_TEST_SUITE_P(Files, SoftwareVersion,
                         testing::Values(TRelease{"None", nullptr, "???"},
                                         TRelease{"Build", "ZMBSD_BUILD=2026.11\nother\n", "2026.11"},
                                         TRelease{"NoLineEnd", "ZMBSD_BUILD=1", "1"},
                                         TRelease{"KeyInTheLine", "export ZMBSD_BUILD=\"7 b\" # x\n", "\"7 b\" # x"},
                                         TRelease{"KeyInTheSecondLine", "NAME=x\nZMBSD_BUILD=1\n", "???"},
                                         TRelease{"OtherKey", "BUILD=1\n", "???"}, TRelease{"Empty", "", "???"},
                                         TRelease{"NoText", "ZMBSD_BUILD=\n", ""},
                                         TRelease{"Long", LONG_RELEASE.c_str(), std::string(254, 'x')}),
                         NameOfRow<TRelease>);

TEST_F(GeneralTest, TheValuesOfTheStartStay) {
    Write(RELEASE_FILE, "ZMBSD_BUILD=1\n");
    StartService();
    Write(RELEASE_FILE, "ZMBSD_BUILD=2\n");
    ChangeFirmware({{"product_serial", "other"}, {"product_name", "other"}});
    EXPECT_EQ(Read(0x100A), TextAnswer(0x100A, "1"));
    EXPECT_EQ(Read(0xF9F0), TextAnswer(0xF9F0, "SN-0815-4711"));
    EXPECT_EQ(Read(0x1009), TextAnswer(0x1009, "IPC-4711;v1.4;2026-03-17"));
}
