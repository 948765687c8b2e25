#include "Health.h"

#include "Machine.h"

namespace Gateway {
namespace {

class HealthTest : public testing::Test {
protected:
    std::vector<Finding> Findings(Language language = Language::English) {
        Look look(m_dictionary, Dictionary::Milliseconds(0), language);
        return FindingsOf(look, language);
    }

    std::vector<std::string> Ids() {
        std::vector<std::string> ids;
        for (const Finding& finding : Findings()) {
            ids.emplace_back(finding.id);
        }
        return ids;
    }

    Machine m_machine;
    Dictionary m_dictionary{m_machine.Options()};
};

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(HealthTest, TellsWhatIsWrongTheWorstFirst) {
    m_machine.Entry(0x8021, 1).value = ::Number(0, 2);
    EXPECT_THAT(Ids(), ElementsAre("fan-stopped", "drive-nearly-worn-out", "voltage-off"));
    EXPECT_EQ(Findings()[1].text, "Drive Flash \"B\"\n (S2) is nearly worn out: 3 % of its life are left");
    EXPECT_EQ(Findings(Language::German)[0].text, "Fan steht still");
}

TEST_F(HealthTest, FindsNothingWhereNothingIsWrong) {
    m_machine.Entry(0x8058, 2).value = ::Number(80, 2);
    m_machine.Entry(0x8075, 2).value = ::Number(5000, 2);
    EXPECT_THAT(Findings(), IsEmpty());
}

TEST_F(HealthTest, MissingValuesAreNotWrong) {
    for (const auto& [index, sub] : {std::pair{0x8021, 1}, std::pair{0x8011, 3}, std::pair{0x8061, 6}}) {
        FakeEntry& entry = m_machine.Entry(static_cast<std::uint16_t>(index), static_cast<std::size_t>(sub));
        entry.value.clear();
        entry.code = Machine::NO_DATA;
    }
    EXPECT_THAT(Ids(), ElementsAre("drive-nearly-worn-out", "voltage-off"));
}

TEST_F(HealthTest, JudgesHeatMemoryRuntimeAndAdapters) {
    m_machine.Entry(0x8011, 3).value = ::Number(95, 2);
    m_machine.Entry(0x8041, 7).value = ::Number(49, 8);
    m_machine.Entry(0x8061, 6).value = ::Number(6, 2);
    m_machine.Entry(0x8001, 2).value = ::Text("0.0.0.0");
    const auto ids = Ids();
    for (const char* id : {"temperature-critical", "memory-low", "runtime-not-running", "adapter-without-address"}) {
        EXPECT_THAT(ids, Contains(id));
    }
}

TEST_F(HealthTest, ADriveIsAsBadAsTheWorstThatIsKnownOfIt) {
    Drive drive;
    EXPECT_STREQ(StateOf(drive, Language::English).id, "not-known");
    drive.lifeLeftPercent = 50;
    EXPECT_STREQ(StateOf(drive, Language::English).id, "good");
    drive.crcErrors = 1;
    EXPECT_STREQ(StateOf(drive, Language::English).id, "cable-errors");
    drive.reallocatedSectors = 2;
    EXPECT_STREQ(StateOf(drive, Language::English).id, "bad-sectors");
    drive.spareLeftPercent = 10;
    EXPECT_STREQ(StateOf(drive, Language::English).id, "few-spares");
    drive.lifeLeftPercent = 10;
    EXPECT_STREQ(StateOf(drive, Language::English).id, "nearly-worn-out");
    drive.spinRetries = 1;
    EXPECT_STREQ(StateOf(drive, Language::English).id, "spin-up-fails");
    drive.pendingSectors = 1;
    EXPECT_STREQ(StateOf(drive, Language::English).id, "unreadable-sectors");
    drive.spareLeftPercent = 0;
    EXPECT_STREQ(StateOf(drive, Language::English).id, "no-spares");
    drive.lifeLeftPercent = 0;
    const DriveState state = StateOf(drive, Language::English);
    EXPECT_STREQ(state.id, "worn-out");
    EXPECT_EQ(state.severity, Severity::Critical);
}

} // namespace
} // namespace Gateway
