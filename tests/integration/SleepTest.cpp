// The sleep that follows half a minute without requests, at its real length.

#include <algorithm>
#include <chrono>
#include <fstream>
#include <thread>

#include "ServiceTest.h"
#include "mdp/Client.h"

namespace {

using namespace std::chrono_literals;

constexpr const char* MESSAGES = "/usr/local/bin/mdpmessage.xml";

// A file in which the module address (text id 100) is named so.
void NameTheAddress(const std::string& text) {
    std::filesystem::create_directories("/usr/local/bin");
    std::ofstream(MESSAGES, std::ios::trunc)
        << "<messages><message ID=\"100\"><text LCID=\"1033\">" << text << "</text></message></messages>";
}

class SleepTest : public ServiceTest {
protected:
    // The description of entry 0x8000:1 in English with room for a name of four bytes: the name.
    static std::string NameOfTheAddress() {
        const Bytes answer = WireClient::Transact(
            Join({"6D 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  21 00 00 00 00 00 00 00"
                  "03 00  00 80  01  09 04 00 00  00 00 00 00 00 00 00 00  44 00 00 00 00 00 00 00"_hex,
                  Bytes(60)}));
        // The answer is as long as the record's size tells, which does not count the result in front of it: the last
        // four bytes of the record lie behind its end, but the length of the name does not.
        EXPECT_EQ(answer.size(), 4U + 68U);
        if (answer.size() != 72) {
            return {};
        }
        return std::to_string(answer[4 + 8 + 56]);
    }

    // Item 0 of the second list of zones, object 3 of the module of type 3.
    Bytes NumberOfZones() const {
        const auto modules = m_client.ListModules();
        EXPECT_TRUE(modules);
        const auto time =
            std::find_if(modules->begin(), modules->end(), [](const Mdp::Module& module) { return module.type == 3; });
        if (time == modules->end()) {
            ADD_FAILURE() << "no module";
            return {};
        }
        const Bytes answer = WireClient::Transact(
            Join({"2C 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  00 00"_hex,
                  Little(time->Data(3), 2), "00 00  00 00 00 00 00 00 00 00  02 00 00 00  00 00"_hex}));
        EXPECT_EQ(answer.size(), 24U);
        return {answer.end() - 2, answer.end()};
    }

    // Asks for both and changes what stands behind the answers. The number of zones before.
    Bytes AskAndChange() const {
        NameTheAddress("ab");
        EXPECT_EQ(NameOfTheAddress(), "2");
        const Bytes zones = NumberOfZones();
        NameTheAddress("abc");
        std::ofstream("/usr/share/zoneinfo/New") << "TZif";
        return zones;
    }

    const Mdp::Client m_client;
};

} // namespace

TEST_F(SleepTest, QuestionsKeepTextsAndZonesForHalfAMinuteMore) {
    const Bytes zones = AskAndChange();
    const auto start = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(15s);
    EXPECT_EQ(NameOfTheAddress(), "2");
    EXPECT_EQ(NumberOfZones(), zones);
    std::this_thread::sleep_until(start + 15s + 29s);
    EXPECT_EQ(NameOfTheAddress(), "2");
    EXPECT_EQ(NumberOfZones(), zones);
}

TEST_F(SleepTest, TextsAndZonesAreForgottenHalfAMinuteAfterTheLastQuestion) {
    const Bytes zones = AskAndChange();
    std::this_thread::sleep_for(41s);
    EXPECT_EQ(NameOfTheAddress(), "3");
    // The module made its list anew.
    EXPECT_NE(NumberOfZones(), zones);
}
