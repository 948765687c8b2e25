// The names of all objects and entries of the running service.

#include <filesystem>
#include <set>

#include "ServiceTest.h"
#include "mdp/Client.h"

namespace {

constexpr const char* s_messages = "/usr/local/bin/mdpmessage.xml";

// Objects whose entries name them.
const std::set<std::uint16_t> s_namelessObjects = {0x1000, 0x1008, 0x1009, 0x100A, 0x1018, 0xF000,
                                                   0xF010, 0xF020, 0xF030, 0xF050, 0xF060, 0xF9F0};

bool IsNamelessEntry(std::uint16_t index, std::uint8_t subIndex) {
    const bool isListElement = index >= 0xF010 && index <= 0xF060;
    return (index == 0x1018 || isListElement) ? subIndex > 0 : index == 0xF000 && subIndex > 2;
}

class NamesTest : public ServiceTest {
protected:
    void SetUp() override {
        std::filesystem::create_directories("/usr/local/bin");
        std::filesystem::copy_file(SYLVARIN_MESSAGES, s_messages, std::filesystem::copy_options::overwrite_existing);
        ServiceTest::SetUp();
    }

    // Frame with command 2 on 0x8000, the first module's header, and room for a name.
    static Bytes DescribeFirstHeader(const Bytes& language, std::size_t room = 64) {
        return Join({Little(24 + 8 + 12 + room, 8),
                     "18 00 00 00 00 00 00 00  20 00 00 00 00 00 00 00"
                     "02 00  00 80"_hex,
                     language, Bytes(12 + room)});
    }

    const Mdp::Client m_client;
};

} // namespace

TEST_F(NamesTest, EveryObjectAndEntryHasANameInEnglishAndGerman) {
    const auto indexes = m_client.ListObjects();
    ASSERT_TRUE(indexes) << indexes.Error().Message();
    EXPECT_GT(indexes->size(), s_namelessObjects.size());
    for (const std::uint32_t language : {Mdp::LanguageEnglish, Mdp::LanguageGerman}) {
        for (const std::uint16_t index : *indexes) {
            const auto object = m_client.DescribeObject(index, language);
            ASSERT_TRUE(object) << std::hex << index;
            EXPECT_EQ(object->name.empty(), s_namelessObjects.contains(index)) << std::hex << index;
            for (unsigned sub = 0; sub < object->itemCount; ++sub) {
                const auto subIndex = static_cast<std::uint8_t>(sub);
                const auto entry = m_client.DescribeEntry(index, subIndex, language);
                ASSERT_TRUE(entry) << std::hex << index << ":" << sub;
                EXPECT_EQ(entry->name.empty(), IsNamelessEntry(index, subIndex)) << std::hex << index << ":" << sub;
            }
        }
    }
}

TEST_F(NamesTest, NameOfAnEntryFollowsTheLanguage) {
    const auto name = [this](std::uint32_t language) { return m_client.DescribeEntry(0x1008, 0, language)->name; };
    EXPECT_EQ(name(1033), "Device name");
    EXPECT_EQ(name(1031), "Gerätename");
    EXPECT_EQ(name(0), "Device name");
    EXPECT_EQ(name(1036), "");
}

TEST_F(NamesTest, DescriptionOfAHeaderIsOnTheWireAsItIsTold) {
    // Record, no data type, five items, no error; then the name of the first module that has a header.
    const Bytes answer = WireClient::Transact(DescribeFirstHeader("09 04 00 00"_hex));
    ASSERT_GT(answer.size(), 16U);
    EXPECT_EQ(Bytes(answer.begin() + 4, answer.begin() + 16), "09  00 00  05  00 00 00 00 00 00 00 00"_hex);
    EXPECT_EQ(answer.size() - 4, answer[0]);
    const auto name = m_client.DescribeObject(0x8000, 1033)->name;
    EXPECT_EQ(std::string(answer.begin() + 16, answer.end()), name);
}

TEST_F(NamesTest, NameOfAnObjectThatDoesNotFitIsRefusedWithoutAReply) {
    const std::size_t length = m_client.DescribeObject(0x8000, 1033)->name.size();
    ASSERT_GT(length, 1U);
    EXPECT_EQ(WireClient::Transact(DescribeFirstHeader("09 04 00 00"_hex, length)).size(), 4 + 12 + length);
    EXPECT_EQ(WireClient::Transact(DescribeFirstHeader("09 04 00 00"_hex, length - 1)), Bytes());
    EXPECT_EQ(WireClient::Transact(DescribeFirstHeader("09 04 00 00"_hex, 0)), Bytes());
}

TEST_F(NamesTest, NameOfAnEntryThatDoesNotFitIsCut) {
    // Command 3 on 1008:0, "Device name". The answer has the size of the record, so its last eight bytes, of the name's
    // length all but the lowest, fall off with 66 bytes.
    const auto describe = [](std::uint8_t size) {
        return WireClient::Transact(Join({Little(24U + 18U + 8U + size, 8),
                                          "18 00 00 00 00 00 00 00  2A 00 00 00 00 00 00 00"
                                          "03 00  08 10  00  09 04 00 00  00 00 00 00 00 00 00 00 00"
                                          "00 00 00 00 00 00 00 00"_hex,
                                          Little(size, 8), Bytes(size - 8U)}));
    };
    const Bytes cut = describe(66);
    ASSERT_EQ(cut.size(), 4U + 66U);
    EXPECT_EQ(Bytes(cut.begin() + 4, cut.begin() + 12), Bytes(8)); // no error
    EXPECT_EQ(Bytes(cut.begin() + 12 + 56, cut.end()), "02 00"_hex);
    const Bytes longer = describe(64 + 8 + 4);
    ASSERT_EQ(longer.size(), 4U + 64U + 12U);
    EXPECT_EQ(Bytes(longer.begin() + 12 + 56, longer.end()), "0B 00 00 00 00 00 00 00  44 65 76 69"_hex);
}

TEST_F(NamesTest, DescriptionInALanguageWithoutTextsHasNoName) {
    EXPECT_EQ(WireClient::Transact(DescribeFirstHeader("0C 04 00 00"_hex)),
              "0C 00 00 00  09  00 00  05  00 00 00 00 00 00 00 00"_hex);
}

TEST_F(NamesTest, WithoutTheFileAllNamesAreEmptyAndDescriptionsSucceed) {
    std::filesystem::remove(s_messages);
    const auto indexes = m_client.ListObjects();
    ASSERT_TRUE(indexes);
    for (const std::uint16_t index : *indexes) {
        const auto object = m_client.DescribeObject(index, Mdp::LanguageEnglish);
        ASSERT_TRUE(object) << std::hex << index;
        EXPECT_EQ(object->name, "");
    }
    EXPECT_TRUE(m_log.WaitFor("None: (2) Could not load xml-file \"/usr/local/bin/mdpmessage.xml\""));
}

TEST_F(NamesTest, FileThatComesLaterIsLoadedAtTheNextQuestion) {
    std::filesystem::remove(s_messages);
    EXPECT_EQ(m_client.DescribeEntry(0x1008, 0, 1033)->name, "");
    std::filesystem::copy_file(SYLVARIN_MESSAGES, s_messages);
    EXPECT_EQ(m_client.DescribeEntry(0x1008, 0, 1033)->name, "Device name");
}
