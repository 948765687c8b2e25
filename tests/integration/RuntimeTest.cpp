// The automation runtime, whose library is installed in the machine, changed and removed while the service runs.

#include <chrono>
#include <fstream>
#include <functional>
#include <thread>

#include "ServiceTest.h"

namespace {

using namespace std::chrono_literals;

constexpr const char* LIBRARY = "/usr/lib/libZmKorDll.so";
constexpr const char* SCENARIO = "/run/machine/scenario";
constexpr const char* JOURNAL = "/run/machine/journal";

constexpr const char* RUNTIME = R"([scenario]
journal = /run/machine/journal
[runtime]
version = 3.1.4024
net_id = 5.8.15.47.1.1
state = 5
system_id = 00112233445566778899aabbccddeeff
figures = 1 2 3 4 5 1 7 8
[route press]
net_id = 5.8.15.60.1.1
address = press.example
timeout = 5000
transport = 1
sub = drive 5.8.15.60.2.1 3
)";

void Install(const std::string& variant = "plain") {
    std::filesystem::copy_file(SYLVARIN_RUNTIME_LIBRARIES "/" + variant + "/libZmKorDll.so",
                               LIBRARY + std::string(".new"));
    std::filesystem::rename(LIBRARY + std::string(".new"), LIBRARY);
}

void SetScenario(const std::string& text) {
    std::ofstream(SCENARIO + std::string(".new")) << text;
    std::filesystem::rename(SCENARIO + std::string(".new"), SCENARIO);
}

std::vector<std::string> Calls(const std::string& begin) {
    std::vector<std::string> calls;
    std::ifstream journal(JOURNAL);
    for (std::string line; std::getline(journal, line);) {
        if (line.starts_with(begin)) {
            calls.push_back(line);
        }
    }
    return calls;
}

bool Soon(const std::function<bool()>& holds) {
    for (int i = 0; i < 3000; ++i) {
        if (holds()) {
            return true;
        }
        std::this_thread::sleep_for(10ms);
    }
    return false;
}

class RuntimeTest : public ServiceTest {
protected:
    static constexpr unsigned Slot = 2; // behind the two adapters of the machine
    static constexpr unsigned Header = 0x8000 + 16 * Slot;
    static constexpr unsigned Service = 0xB000 + 16 * Slot;

    // The answer to a read of one entry with room for 64 bytes: result and value.
    static std::pair<Bytes, Bytes> Read(unsigned index, unsigned subIndex, unsigned flags = 0) {
        const Bytes answer = WireClient::Transact(Join(
            {"6A 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  00 00"_hex, Little(index, 2),
             Little(flags, 1), Little(subIndex, 1), "00 00 00 00 00 00 00 00  40 00 00 00"_hex, Bytes(64)}));
        if (answer.size() < 22) {
            return {answer, {}};
        }
        return {{answer.begin() + 10, answer.begin() + 18}, {answer.begin() + 22, answer.end()}};
    }

    // The result of a write of one entry; with the service flag it waits for the end of the job.
    static Bytes Write(unsigned index, unsigned subIndex, const Bytes& value, unsigned flags = 0) {
        const std::size_t size = 24 + 18 + value.size();
        const Bytes answer = WireClient::Transact(
            Join({Little(size, 8), Little(24, 8), Little(size, 8), "00 00"_hex, Little(index, 2), Little(flags, 1),
                  Little(subIndex, 1), "00 00 00 00 00 00 00 00"_hex, Little(value.size(), 4), value}));
        return answer.size() < 18 ? answer : Bytes{answer.begin() + 10, answer.begin() + 18};
    }

    static Bytes Text(const std::string& text) { return {text.begin(), text.end()}; }

    const Bytes m_good = "00 00 00 00 00 00 00 00"_hex;
    const Bytes m_noData = "05 01 A6 EC FF FF FF FF"_hex;
};

} // namespace

TEST_F(RuntimeTest, IsThereWithoutTheRuntime) {
    EXPECT_EQ(Read(Header, 2), std::pair(m_good, Text("Zelmora")));
    EXPECT_EQ(Read(Header + 1, 1).first, m_noData);
    EXPECT_EQ(Read(Header + 1, 13).first, m_noData);
    EXPECT_EQ(Read(Header + 2, 0), std::pair(m_good, "00 00"_hex));
    EXPECT_TRUE(m_log.WaitFor("None: InitZmStatusWatchWorker Status: -324468737! try again..."));
    EXPECT_EQ(Read(0x1000, 0), std::pair(m_good, "89 13 10 27"_hex));
}

TEST_F(RuntimeTest, FindsALibraryThatIsInstalledLater) {
    ASSERT_TRUE(m_log.WaitFor("None: InitZmStatusWatchWorker Status: -324468737! try again..."));
    SetScenario(RUNTIME);
    Install();
    ASSERT_TRUE(m_log.WaitForStart("None: InitZmStatusWatchWorker finished: Status is OK! Port: "));
    EXPECT_EQ(Read(Header + 1, 1), std::pair(m_good, "03 00"_hex));
    EXPECT_EQ(Read(Header + 1, 2), std::pair(m_good, "01 00"_hex));
    EXPECT_EQ(Read(Header + 1, 3), std::pair(m_good, "B8 0F"_hex));
    EXPECT_EQ(Read(Header + 1, 6), std::pair(m_good, "05 00"_hex));
    EXPECT_EQ(Read(Header + 1, 13).first, m_good);
    EXPECT_EQ(Read(Header + 9, 6), std::pair(m_good, "01"_hex));
}

TEST_F(RuntimeTest, AsksForANetIdAndShowsTheOldOne) {
    SetScenario(RUNTIME);
    Install();
    EXPECT_EQ(Write(Header + 1, 4, Text("1.2.3.4.5.6")), m_good);
    EXPECT_EQ(Calls("KorSyncWriteReq 10000:200").size(), 1U);
    EXPECT_EQ(Read(Header + 1, 4), std::pair(m_good, Join({Text("5.8.15.47.1.1"), Bytes(11)})));
    EXPECT_EQ(Write(Header + 1, 4, Text("1.2.3.4.5")), "06 01 A6 EC FF FF FF FF"_hex);
}

TEST_F(RuntimeTest, AddsAndDeletesRoutes) {
    SetScenario(RUNTIME);
    Install();
    EXPECT_EQ(Read(Header + 2, 0), std::pair(m_good, "02 00"_hex));
    EXPECT_EQ(Read(Header + 2, 2), std::pair(m_good, Text("press/drive")));
    EXPECT_EQ(Read(Header + 5, 2), std::pair(m_good, "03 00 00 00"_hex));

    // Total size, flags, time-out, transport type, net id, lengths of name and address, both.
    EXPECT_EQ(Write(Service, 1,
                    "24 00 00 00  00 00 00 00  88 13 00 00  01 00  01 02 03 04 05 06  03 00 00 00  05 00 00 00"
                    "6D 2F 31  68 6F 73 74 31"_hex,
                    2),
              m_good);
    EXPECT_EQ(Read(Service, 1, 2), std::pair(m_good, "00 00"_hex));
    EXPECT_EQ(Read(Header + 2, 3), std::pair(m_good, Text("m\\1")));
    EXPECT_EQ(Read(Header + 3, 3), std::pair(m_good, Text("host1")));
    EXPECT_EQ(Read(Header + 4, 3), std::pair(m_good, Text("1.2.3.4.5.6")));
    EXPECT_EQ(Read(Header + 6, 3), std::pair(m_good, "88 13 00 00"_hex));
    EXPECT_EQ(Read(Header + 7, 3), std::pair(m_good, "01 00"_hex));

    EXPECT_EQ(Write(Service + 1, 1, "03 00 00 00  6D 5C 31"_hex, 2), m_good);
    EXPECT_EQ(Read(Service + 1, 1, 2), std::pair(m_good, "00 00"_hex));
    EXPECT_EQ(Read(Header + 2, 0), std::pair(m_good, "02 00"_hex));

    EXPECT_EQ(Write(Service + 1, 1, "08 00 00 00  6D"_hex, 2), m_good);
    EXPECT_EQ(Read(Service + 1, 1, 2), std::pair(m_good, "03 00  06 01 A6 EC"_hex));
}

TEST_F(RuntimeTest, RefusesNetIdsThatAreNone) {
    SetScenario(RUNTIME);
    Install();
    const Bytes invalid = "06 01 A6 EC FF FF FF FF"_hex;
    EXPECT_EQ(Write(Header + 1, 4, Text("1.2.3.4.5.6.7")), invalid);
    EXPECT_EQ(Write(Header + 1, 4, Text("256.0.0.0.0.0")), invalid);
    EXPECT_EQ(Write(Header + 1, 4, Text("1.2.3.4.5.6             ")), invalid); // 24 characters
    EXPECT_TRUE(Calls("KorSyncWriteReq").empty());
    EXPECT_EQ(Write(Header + 1, 4, Text("-1.0.0.0.0.0")), m_good);
    ASSERT_EQ(Calls("KorSyncWriteReq").size(), 1U);
    EXPECT_TRUE(Calls("KorSyncWriteReq")[0].ends_with("03000000ff0000000000"));
}

TEST_F(RuntimeTest, TellsThatNothingIsConnectedAndClosesThePort) {
    SetScenario(RUNTIME);
    Install();
    ASSERT_EQ(Read(Header + 1, 6), std::pair(m_good, "05 00"_hex));
    SetScenario(std::string(RUNTIME) + "[runtime]\nrouter = down\n");
    EXPECT_EQ(Read(Header + 1, 6), std::pair(m_good, "06 00"_hex));
    EXPECT_EQ(Calls("KorPortClose").size(), 1U);
}

TEST_F(RuntimeTest, WritesUnderTheKeysOfTheGenerationThatItMetFirst) {
    SetScenario(std::string(RUNTIME) + "[runtime]\nversion = 2.11.2250\n");
    Install();
    EXPECT_EQ(Read(Header + 1, 11), std::pair(m_good, Text(R"(????-????-???)")));
    EXPECT_EQ(Write(Header + 1, 4, Text("1.2.3.4.5.6")), m_good);
    ASSERT_EQ(Calls("KorSyncWriteReq").size(), 1U);
    // SOFTWARE\\Vorthane\\Zelmora\\System
    EXPECT_NE(Calls("KorSyncWriteReq")[0].find("534f4654574152455c566f727468616e655c5a656c6d6f72615c53797374656d00"),
              std::string::npos);
}

TEST_F(RuntimeTest, RefusesRoutesThatDoNotFitAndThoseThatTheRouterRefuses) {
    SetScenario(RUNTIME);
    Install();
    const auto add = [](std::size_t nameLength, std::size_t total) {
        return Join({Little(total, 4), "00 00 00 00  88 13 00 00  01 00  01 02 03 04 05 06"_hex, Little(nameLength, 4),
                     Little(1, 4), Bytes(nameLength, 'n'), Text("h")});
    };
    const auto answerTo = [](const Bytes& request) {
        EXPECT_EQ(Write(Service, 1, request, 2), Bytes(8));
        return Read(Service, 1, 2).second;
    };
    EXPECT_EQ(answerTo(add(1025, 28 + 1025 + 1)), "03 00  06 01 A6 EC"_hex);
    EXPECT_EQ(answerTo(add(4, 28 + 5 + 1)), "03 00  06 01 A6 EC"_hex);
    EXPECT_EQ(answerTo(add(1024, 28 + 1024 + 1)), "00 00"_hex);
    SetScenario(std::string(RUNTIME) + "[runtime failures]\n10000:801 = 1807\n");
    EXPECT_EQ(answerTo(add(4, 28 + 4 + 1)), "03 00  20 04 AF EC"_hex);
    EXPECT_TRUE(Calls("KorPortClose").empty());
}

TEST_F(RuntimeTest, AnEventOfTheRouterIsAChangeOfState) {
    SetScenario(RUNTIME);
    Install();
    ASSERT_TRUE(m_log.WaitForStart("None: InitZmStatusWatchWorker finished: Status is OK! Port: "));
    const std::size_t registered = Calls("KorMirnRegisterRouterNotificationEx2").size();
    SetScenario(std::string(RUNTIME) + "[runtime]\nevent = 1 1\n");
    ASSERT_TRUE(m_log.WaitFor("None: MirnRouterNotificationFuncEx3 callback (new) nEvent: 1"));
    EXPECT_EQ(Read(Header + 1, 13).first, m_good);
    SetScenario(std::string(RUNTIME) + "[runtime]\nevent = 2 0\n");
    ASSERT_TRUE(m_log.WaitFor("None: MirnRouterNotificationFuncEx3 callback (new) nEvent: 0"));
    EXPECT_EQ(Calls("KorMirnRegisterRouterNotificationEx2").size(), registered);
}

TEST_F(RuntimeTest, TheStopEndsTheRetries) {
    ASSERT_TRUE(m_log.WaitFor("None: InitZmStatusWatchWorker Status: -324468737! try again..."));
    EXPECT_EQ(m_service->Stop().exitStatus, 0);
    EXPECT_TRUE(m_log.WaitFor("None: InitZmStatusWatchWorker stopped: Sylvarin is closing!"));
    m_service.reset();
}

TEST_F(RuntimeTest, OneObjectStaysWhenTheModuleSleeps) {
    SetScenario(RUNTIME);
    Install();
    ASSERT_EQ(Read(Header + 1, 1), std::pair(m_good, "03 00"_hex));
    // At its real length: half a minute without a question, and up to eight seconds until somebody looks.
    for (int second = 0; second < 60 && Calls("KorPortClose").empty(); ++second) {
        std::this_thread::sleep_for(1s);
    }
    EXPECT_EQ(Calls("KorPortClose").size(), 1U);
    const Bytes notSupported = "00 10 A6 EC FF FF FF FF"_hex;
    EXPECT_EQ(Read(Header + 10, 1).first, notSupported);
    EXPECT_EQ(Read(Header + 1, 1), std::pair(m_good, "03 00"_hex));
}

TEST_F(RuntimeTest, FollowsALibraryThatIsReplacedAndRemoved) {
    SetScenario(std::string(RUNTIME) + "\n");
    Install("mangled");
    ASSERT_TRUE(m_log.WaitForStart("None: InitZmStatusWatchWorker finished: Status is OK! Port: "));
    Install("plain");
    SetScenario(std::string("[runtime]\nevent = 1 2\n") + RUNTIME);
    ASSERT_TRUE(m_log.WaitFor("None: MirnRouterNotificationFuncEx3 callback (new) nEvent: 2"));
    EXPECT_TRUE(Soon([] { return Calls("KorMirnUnRegisterRouterNotificationEx").size() == 1; }));
    EXPECT_TRUE(Soon([] { return Calls("KorMirnRegisterRouterNotificationEx2").size() >= 2; }));
    std::filesystem::remove(LIBRARY);
    SetScenario(std::string("[runtime]\nevent = 2 2\n") + RUNTIME);
    EXPECT_TRUE(m_log.WaitFor("None: InitZmStatusWatchWorker Status: -324468737! try again..."));
    EXPECT_EQ(Read(0x1000, 0), std::pair(m_good, "89 13 10 27"_hex));
}

TEST_F(RuntimeTest, ALibraryThatHangsDelaysWhatAsksTheRuntimeAndNothingElse) {
    SetScenario(RUNTIME);
    Install();
    ASSERT_EQ(Read(Header + 1, 6).first, m_good);
    SetScenario(std::string(RUNTIME) + "[runtime delays]\n1:1 = 30000\n");
    std::thread delayed([] {
        try {
            Read(Header + 9, 1);
        } catch (const std::exception&) { // the service ends before it is answered
        }
    });
    ASSERT_TRUE(Soon([] { return !Calls("KorSyncReadReq 1:1").empty(); }));
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(Read(0x1000, 0), std::pair(m_good, "89 13 10 27"_hex));
        EXPECT_EQ(Read(Header, 2), std::pair(m_good, Text("Zelmora")));
        EXPECT_EQ(Read(Header + 2, 1), std::pair(m_good, Text("press")));
    }
    const Ending ending = m_service->Stop(); // in the middle of it
    EXPECT_EQ(ending.exitStatus, 0);
    EXPECT_TRUE(m_log.WaitFor("None: ------------- Sylvarin (END) -------------"));
    m_service.reset();
    delayed.join();
}
