// The sleep that follows half a minute without requests, at its real length.

#include <chrono>
#include <fstream>
#include <thread>

#include "ServiceTest.h"

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
};

} // namespace

TEST_F(SleepTest, TextsAreForgottenHalfAMinuteAfterTheLastQuestionAndNotBefore) {
    NameTheAddress("ab");
    EXPECT_EQ(NameOfTheAddress(), "2");
    NameTheAddress("abc");
    const auto start = std::chrono::steady_clock::now();
    // Questions keep them.
    std::this_thread::sleep_for(15s);
    EXPECT_EQ(NameOfTheAddress(), "2");
    std::this_thread::sleep_until(start + 15s + 29s);
    EXPECT_EQ(NameOfTheAddress(), "2");
    std::this_thread::sleep_for(41s);
    EXPECT_EQ(NameOfTheAddress(), "3");
}
