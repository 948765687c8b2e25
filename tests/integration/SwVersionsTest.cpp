#include <algorithm>
#include <fstream>
#include <iterator>

#include "ServiceTest.h"
#include "mdp/Client.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* PKG = SYLVARIN_ADAPTERS "/usr/sbin/pkg";
constexpr const char* MAKER = "Vorthane Werke GmbH & Co. KG";

Bytes Text(const std::string& text) {
    return {text.begin(), text.end()};
}

// What the package manager prints instead.
void WritePkg(const std::string& script) {
    std::ofstream(PKG, std::ios::trunc) << "#!/bin/sh\n" << script;
    fs::permissions(PKG, static_cast<fs::perms>(0755));
}

// A package in the database of the machine.
void Install(const std::string& name, const std::string& version, const std::string& section,
             const std::string& status = "install ok installed") {
    std::ofstream("/var/lib/dpkg/status", std::ios::app)
        << "\nPackage: " << name << "\nStatus: " << status << "\nPriority: optional\nSection: " << section
        << "\nMaintainer: Someone <someone@example.org>\nArchitecture: all\nVersion: " << version
        << "\nDescription: something\n";
}

class SwVersionsTest : public LogTest {
protected:
    void StartService() {
        m_log.Clear();
        m_service = std::make_unique<ServiceUnderTest>(ServiceStart{{"-nof", "-v"}, "sylvarin", {}});
        ASSERT_TRUE(m_service->WaitUntilAnswering()) << m_service->Output();
        ASSERT_TRUE(m_log.WaitFor("Info: Sylvarin started."));
        const auto modules = Mdp::Client().ListModules();
        ASSERT_TRUE(modules) << modules.Error().Message();
        const auto software =
            std::find_if(modules->begin(), modules->end(), [](const Mdp::Module& module) { return module.type == 10; });
        ASSERT_NE(software, modules->end());
        EXPECT_EQ(software->name, "Software");
        EXPECT_EQ(software->typeName, "Software");
        m_base = software->index;
    }

    void StopService() {
        EXPECT_TRUE(m_service->IsRunning()) << m_service->Output();
        EXPECT_EQ(m_service->Stop().exitStatus, 0) << m_service->Output();
    }

    void TearDown() override {
        StopService();
        LogTest::TearDown();
    }

    Bytes Read(unsigned k, unsigned subIndex, unsigned flags = 0) const {
        return WireClient::Transact(Join(
            {"2A 20 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  00 00"_hex,
             Little(m_base + k, 2), Little(flags, 1), Little(subIndex, 1), Bytes(8), "00 20 00 00"_hex, Bytes(8192)}));
    }

    Bytes Answer(unsigned k, unsigned subIndex, const Bytes& value, unsigned flags = 0) const {
        return Join({Little(18 + value.size(), 4), "00 00"_hex, Little(m_base + k, 2), Little(flags, 1),
                     Little(subIndex, 1), Bytes(8), Little(value.size(), 4), value});
    }

    // All of table k: its count and its texts.
    void ExpectTable(unsigned k, const std::vector<std::string>& texts) const {
        Bytes value = Little(texts.size(), 2);
        for (const std::string& text : texts) {
            value.insert(value.end(), text.begin(), text.end());
        }
        EXPECT_EQ(Read(k, 0, 1), Answer(k, 0, value, 1)) << k;
        for (unsigned sub = 1; sub <= texts.size(); ++sub) {
            EXPECT_EQ(Read(k, sub), Answer(k, sub, Text(texts[sub - 1]))) << k << ":" << sub;
        }
    }

    // The third table: there are elements, but none has data.
    void ExpectNoDescriptions(unsigned count) const {
        EXPECT_EQ(Read(3, 0), Answer(3, 0, Little(count, 2)));
        for (unsigned sub = 1; sub <= count; ++sub) {
            EXPECT_EQ(Read(3, sub), Join({"12 00 00 00  00 00"_hex, Little(m_base + 3, 2), "00"_hex, Little(sub, 1),
                                          "05 01 A6 EC FF FF FF FF  00 00 00 00"_hex}));
        }
    }

    void ExpectEmpty() const {
        for (unsigned k = 1; k <= 4; ++k) {
            EXPECT_EQ(Read(k, 0, 1), Answer(k, 0, "00 00"_hex, 1)) << k;
        }
        EXPECT_EQ(m_log.Count("None: Software created."), 0U);
    }

    std::unique_ptr<ServiceUnderTest> m_service;
    unsigned m_base = 0;
};

} // namespace

TEST_F(SwVersionsTest, WithoutAPackageOfTheMakerTheTablesAreEmptyAndTheModuleIsThere) {
    StartService();
    ExpectEmpty();
}

TEST_F(SwVersionsTest, PackagesOfTheMakerAreListedInFourTablesThatGoTogether) {
    Install("aaa-other", "9.9", "net");
    Install("vth-base", "1.2.3-4", "vth");
    Install("vth-gone", "1.0", "vth", "deinstall ok config-files");
    Install("vth-tools", "2:7.0~rc1", "vth");
    StartService();
    EXPECT_EQ(m_log.Count("None: Software created."), 1U);
    ExpectTable(1, {"vth-base", "vth-tools"});
    ExpectTable(2, {MAKER, MAKER});
    ExpectNoDescriptions(2);
    ExpectTable(4, {"1.2.3-4", "2:7.0~rc1"});
}

TEST_F(SwVersionsTest, LinesWithOtherThanThreeFieldsAreSkipped) {
    WritePkg(
        "printf '%s\\n' 'name;1.0vth/' 'a;b;vth/c;d' 'good;1.0;vth/good' ';;vth/' 'x;2;sys/other' 'y;3;sys/vth/y'\n");
    StartService();
    EXPECT_EQ(m_log.Count("None: Software created."), 1U);
    ExpectTable(2, {MAKER, MAKER, MAKER});
    EXPECT_EQ(Read(1, 1), Answer(1, 1, Text("good")));
    EXPECT_EQ(Read(1, 3), Answer(1, 3, Text("y")));
    EXPECT_EQ(Read(4, 3), Answer(4, 3, Text("3")));
}

TEST_F(SwVersionsTest, ThePackageManagerIsAskedOnceWithItsFormat) {
    WritePkg("printf '%s\\n' \"$@\" >>/tmp/arguments; echo 'a;1;vth/a'\n");
    StartService();
    std::ifstream file("/tmp/arguments");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "query\n-a\n%n;%v;%o\n");
}

TEST_F(SwVersionsTest, APackageManagerThatFailsLeavesEmptyTables) {
    WritePkg("echo broken >&2; exit 1\n");
    StartService();
    ExpectEmpty();
}

TEST_F(SwVersionsTest, MoreThan254PackagesStopAllTablesTogether) {
    WritePkg("i=1; while [ $i -le 300 ]; do echo \"p$i;v$i;vth/p$i\"; i=$((i + 1)); done\n");
    StartService();
    for (unsigned k = 1; k <= 4; ++k) {
        EXPECT_EQ(Read(k, 0), Answer(k, 0, "FE 00"_hex)) << k;
        EXPECT_EQ(Read(k, 255), Join({"12 00 00 00  00 00"_hex, Little(m_base + k, 2), "00 FF"_hex,
                                      "00 01 A6 EC FF FF FF FF  00 00 00 00"_hex}));
    }
    EXPECT_EQ(Read(1, 254), Answer(1, 254, Text("p254")));
    EXPECT_EQ(Read(4, 254), Answer(4, 254, Text("v254")));
    EXPECT_EQ(m_log.Count("None: Software created."), 1U);
}

TEST_F(SwVersionsTest, WhatIsInstalledLaterShowsAfterTheNextStart) {
    Install("vth-base", "1.0", "vth");
    StartService();
    Install("vth-later", "1.0", "vth");
    ExpectTable(1, {"vth-base"});
    StopService();
    StartService();
    ExpectTable(1, {"vth-base", "vth-later"});
}
