#include "Metrics.h"

#include "Machine.h"

namespace Gateway {
namespace {

using testing::HasSubstr;
using testing::Not;

class MetricsTest : public testing::Test {
protected:
    std::string Scrape(std::set<std::uint16_t> modules = {}) {
        return Metrics(m_dictionary, std::move(modules), Dictionary::Milliseconds(0)).Scrape();
    }

    Machine m_machine;
    Dictionary m_dictionary{m_machine.Options()};
};

TEST_F(MetricsTest, TellsFiguresInTheirBaseUnits) {
    const std::string page = Scrape();
    EXPECT_THAT(page, HasSubstr("# TYPE sylvarin_processor_load_ratio gauge\n"));
    EXPECT_THAT(page, HasSubstr("sylvarin_processor_load_ratio{processor=\"CPU0\"} 0.25\n"));
    EXPECT_THAT(page, HasSubstr("sylvarin_processor_frequency_hertz{processor=\"CPU0\"} 2596000000\n"));
    EXPECT_THAT(page, HasSubstr("sylvarin_memory_available_bytes 600\n"));
    EXPECT_THAT(
        page,
        HasSubstr("sylvarin_drive_life_left_ratio{drive=\"2\",model=\"Flash \\\"B\\\"\\n\",serial=\"S2\"} 0.03\n"));
    EXPECT_THAT(page, HasSubstr("# TYPE sylvarin_drive_crc_errors_total counter\n"));
    EXPECT_THAT(page, HasSubstr("sylvarin_drive_crc_errors_total{drive=\"1\",model=\"Disk A\",serial=\"S1\"} 0\n"));
    EXPECT_THAT(page, HasSubstr("sylvarin_runtime_running 1\n"));
    EXPECT_THAT(page, HasSubstr("sylvarin_up 1\n"));
    EXPECT_THAT(page, HasSubstr("sylvarin_scrape_errors_total 0\n"));
}

TEST_F(MetricsTest, AValueThatIsMissingHasNoLine) {
    const std::string page = Scrape();
    EXPECT_THAT(page, Not(HasSubstr("sylvarin_drive_life_left_ratio{drive=\"1\"")));
    EXPECT_THAT(page, Not(HasSubstr("sylvarin_runtime_state_age_seconds")));
    EXPECT_THAT(page, Not(HasSubstr("sylvarin_ups")));
    EXPECT_THAT(page, Not(HasSubstr("NaN")));
}

TEST_F(MetricsTest, SensorsOfOneNameAreToldApart) {
    const std::string page = Scrape();
    EXPECT_THAT(page,
                HasSubstr("sylvarin_fan_speed_rpm{fan=\"Fan\"} 1200\nsylvarin_fan_speed_rpm{fan=\"Fan 2\"} 900\n"));
    EXPECT_THAT(page, HasSubstr("sylvarin_voltage_volts{sensor=\"5V 2\"} 3.9\n"));
}

TEST_F(MetricsTest, TextsThatAreNotUtf8DoNotSpoilThePage) {
    m_machine.Entry(0x8054, 1).value = ::Text("bad \xFF name");
    const std::string page = Scrape();
    EXPECT_THAT(page, HasSubstr("model=\"bad \xEF\xBF\xBD name\""));
}

TEST_F(MetricsTest, AScrapeIsOneTransactionForEachObjectThatAnswersWhole) {
    // The first looks learn what the machine is made of.
    Scrape({11, 27});
    Scrape({11, 27});
    const std::size_t before = m_machine.Transactions();
    const std::size_t wholes = m_machine.CompleteReads(0x8011);
    Scrape({11, 27});
    // Addresses and names of the modules, four texts of the identity, a processor and two fans.
    EXPECT_EQ(m_machine.Transactions(), before + 2 + 4 + 3);
    EXPECT_EQ(m_machine.CompleteReads(0x8011), wholes + 1);
}

TEST_F(MetricsTest, OnlyTheChosenModulesAreWoken) {
    const std::string page = Scrape({11});
    EXPECT_THAT(page, HasSubstr("sylvarin_processor_load_ratio"));
    EXPECT_THAT(page, Not(HasSubstr("sylvarin_fan_speed_rpm")));
    EXPECT_FALSE(m_machine.IsAsleep(1));
    for (const std::uint8_t slot : std::vector<std::uint8_t>{0, 2, 3, 4, 5, 6, 7, 8}) {
        EXPECT_TRUE(m_machine.IsAsleep(slot)) << int{slot};
    }
}

TEST_F(MetricsTest, AServiceThatDoesNotAnswerIsDown) {
    Metrics metrics(m_dictionary, {}, Dictionary::Milliseconds(0));
    metrics.Scrape();
    m_machine.GoDown(true);
    const std::string page = metrics.Scrape();
    EXPECT_THAT(page, HasSubstr("sylvarin_up 0\n"));
    EXPECT_THAT(page, HasSubstr("sylvarin_scrape_errors_total 1\n"));
    EXPECT_THAT(page, Not(HasSubstr("sylvarin_processor")));
    m_machine.GoDown(false);
    EXPECT_THAT(metrics.Scrape(), HasSubstr("sylvarin_up 1\n"));
}

TEST(MetricsModules, AreCalledByTheirTypes) {
    EXPECT_EQ(Metrics::ModuleTypeOf("cpu"), 11);
    EXPECT_EQ(Metrics::ModuleTypeOf("MassStorageMonitoring"), 32);
    EXPECT_EQ(Metrics::ModuleTypeOf("nonsense"), 0);
}

} // namespace
} // namespace Gateway
