#include "log/Logger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdarg>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "../common/LogOf.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

struct TSyslogCall {
    int priority;
    std::string text;

    bool operator==(const TSyslogCall&) const = default;
};

std::vector<TSyslogCall> s_calls;

// Calls of the system log that have begun.
std::atomic<int> s_entered{0};

// Held by a test while the system log is to hang; what was said before is in s_calls by then.
std::mutex s_hanging;

struct TSeverity {
    logSeverity severity;
    const char* name;
    int priority;
};

class Severity : public testing::TestWithParam<TSeverity> {};

class LoggerTest : public testing::Test {
protected:
    void SetUp() override { s_calls.clear(); }

    // What the console shows while the action runs.
    static std::vector<std::string> Console(const std::function<void()>& action) {
        CapturedOutput output;
        action();
        return LinesOf(output.Text());
    }

    CLogger m_logger;
};

void PrintTo(const TSyslogCall& call, std::ostream* out) {
    *out << call.priority << " " << call.text;
}

} // namespace

// In the place of the system log's own.
extern "C" void __wrap_syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    char text[2048];
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    ++s_entered;
    const std::lock_guard lock(s_hanging);
    s_calls.push_back({priority, text});
}

TEST_P(Severity, HasItsNameAndItsPriority) {
    s_calls.clear();
    CLogger logger;
    logger.AddRoute(GetParam().severity, 16);
    EXPECT_STREQ(logger.GetSeverityName(GetParam().severity), GetParam().name);
    logger.LogMsg(GetParam().severity, "text");
    char line[] = "line";
    logger.LogEvent(line, GetParam().severity);
    EXPECT_THAT(s_calls, ElementsAre(TSyslogCall{GetParam().priority, std::string(GetParam().name) + ": text"},
                                     TSyslogCall{GetParam().priority, "line"}));
    logger.ClearRoutes();
}

INSTANTIATE_TEST_SUITE_P(Severities, Severity,
                         testing::Values(TSeverity{1, "Info", 5}, TSeverity{2, "Warning", 4}, TSeverity{4, "Error", 3},
                                         TSeverity{8, "None", 5}, TSeverity{16, "None", 5}, TSeverity{65535, "None", 5},
                                         TSeverity{3, "None", 5}, TSeverity{0, "None", 5}, TSeverity{32, "None", 5},
                                         TSeverity{7, "None", 5}),
                         [](const auto& test) { return "Value" + std::to_string(test.param.severity); });

TEST_F(LoggerTest, ARouteTakesItsOwnSeverityAndMessagesForAll) {
    m_logger.AddRoute(LOG_SEVERITY_WARNING, LOG_TARGET_SYSLOG);
    m_logger.LogMsg(LOG_SEVERITY_INFO, "info");
    m_logger.LogMsg(LOG_SEVERITY_WARNING, "warning");
    m_logger.LogMsg(LOG_SEVERITY_ERROR, "error");
    m_logger.LogMsg(3U, "info and warning at once are neither");
    m_logger.LogMsg(LOG_SEVERITY_ALL, "all");
    m_logger.LogMsg("all again %d", 7);
    EXPECT_THAT(s_calls, ElementsAre(TSyslogCall{4, "Warning: warning"}, TSyslogCall{5, "None: all"},
                                     TSyslogCall{5, "None: all again 7"}));
    m_logger.ClearRoutes();
}

TEST_F(LoggerTest, ARouteForAllTakesEveryMessage) {
    m_logger.AddRoute(tag_STlogRoute{LOG_SEVERITY_ALL, LOG_TARGET_SYSLOG});
    m_logger.LogMsg(LOG_SEVERITY_TRACE, "trace");
    m_logger.LogMsgA(LOG_SEVERITY_ERROR, "%s", "error");
    EXPECT_THAT(s_calls, ElementsAre(TSyslogCall{5, "None: trace"}, TSyslogCall{3, "Error: error"}));
    m_logger.ClearRoutes();
}

TEST_F(LoggerTest, RoutesAreServedInOrderAndTwiceIfTheyAreThereTwice) {
    m_logger.AddRoute(LOG_SEVERITY_INFO, LOG_TARGET_SYSLOG);
    m_logger.AddRoute(LOG_SEVERITY_INFO, LOG_TARGET_CONSOLE);
    m_logger.AddRoute(LOG_SEVERITY_INFO, LOG_TARGET_SYSLOG);
    EXPECT_THAT(Console([&] { m_logger.LogMsg(LOG_SEVERITY_INFO, "text"); }), ElementsAre("Info: text"));
    EXPECT_EQ(s_calls.size(), 2U);
    m_logger.ClearRoutes();
}

TEST_F(LoggerTest, TheSecondConsoleAndUnknownTargetsShowNothing) {
    for (const logTarget target : {8U, 2U, 0U, 17U}) {
        m_logger.AddRoute(LOG_SEVERITY_ALL, target);
    }
    char line[] = "line";
    EXPECT_THAT(Console([&] {
                    m_logger.LogMsg(LOG_SEVERITY_ERROR, "text");
                    m_logger.LogConsole2(line);
                    m_logger.LogMsgBox(line);
                }),
                IsEmpty());
    EXPECT_THAT(s_calls, IsEmpty());
    m_logger.ClearRoutes();
}

TEST_F(LoggerTest, WithoutARouteNothingIsShown) {
    m_logger.AddRoute(LOG_SEVERITY_ALL, LOG_TARGET_SYSLOG);
    m_logger.ClearRoutes();
    EXPECT_THAT(Console([&] { m_logger.LogMsg(LOG_SEVERITY_ERROR, "text"); }), IsEmpty());
    EXPECT_THAT(s_calls, IsEmpty());
}

TEST_F(LoggerTest, TheConsoleShowsTheLineAndALineEnd) {
    char line[] = "100%s";
    EXPECT_THAT(Console([&] { m_logger.LogConsole(line); }), ElementsAre("100%s"));
}

TEST_F(LoggerTest, PercentSignsOfATextAreNotFormatted) {
    m_logger.AddRoute(LOG_SEVERITY_INFO, LOG_TARGET_SYSLOG);
    m_logger.LogMsg(LOG_SEVERITY_INFO, "%s", "100%s %n");
    EXPECT_THAT(s_calls, ElementsAre(TSyslogCall{5, "Info: 100%s %n"}));
    m_logger.ClearRoutes();
}

TEST_F(LoggerTest, ATextIsCutAt511CharactersBehindItsName) {
    m_logger.AddRoute(LOG_SEVERITY_ALL, LOG_TARGET_SYSLOG);
    m_logger.LogMsg(LOG_SEVERITY_WARNING, "%s", std::string(511, 'x').c_str());
    m_logger.LogMsg(LOG_SEVERITY_WARNING, "%s", std::string(2000, 'y').c_str());
    EXPECT_THAT(s_calls, ElementsAre(TSyslogCall{4, "Warning: " + std::string(511, 'x')},
                                     TSyslogCall{4, "Warning: " + std::string(511, 'y')}));
    m_logger.ClearRoutes();
}

TEST_F(LoggerTest, DateAndTimeAreNeverFilled) {
    EXPECT_STREQ(m_logger.GetDate(), "");
    EXPECT_STREQ(m_logger.GetTime(), "");
    EXPECT_NE(m_logger.GetDate(), m_logger.GetTime());
}

TEST_F(LoggerTest, TheFirstLineReachesNothingAndTheLastOneItsRoutes) {
    EXPECT_THAT(Console([] { CLogger logger; }), IsEmpty());
    {
        CLogger logger;
        logger.AddRoute(LOG_SEVERITY_PROGRESS, LOG_TARGET_SYSLOG);
    }
    EXPECT_THAT(s_calls, ElementsAre(TSyslogCall{5, "None: Logger is shutting down"}));
    s_calls.clear();
    m_logger.AddRoute(LOG_SEVERITY_ALL, LOG_TARGET_SYSLOG);
    m_logger.Shutdown();
    m_logger.LogMsg(LOG_SEVERITY_ERROR, "too late");
    EXPECT_THAT(s_calls, ElementsAre(TSyslogCall{5, "None: Logger is shutting down"}));
}

TEST_F(LoggerTest, ValuesOfSeveritiesAndTargets) {
    EXPECT_EQ(LOG_SEVERITY_INFO, 1U);
    EXPECT_EQ(LOG_SEVERITY_WARNING, 2U);
    EXPECT_EQ(LOG_SEVERITY_ERROR, 4U);
    EXPECT_EQ(LOG_SEVERITY_PROGRESS, 8U);
    EXPECT_EQ(LOG_SEVERITY_TRACE, 16U);
    EXPECT_EQ(LOG_SEVERITY_ALL, 65535U);
    EXPECT_EQ(LOG_TARGET_CONSOLE, 1U);
    EXPECT_EQ(LOG_TARGET_CONSOLE2, 8U);
    EXPECT_EQ(LOG_TARGET_SYSLOG, 16U);
    EXPECT_EQ(sizeof(tag_STlogRoute), 8U);
}

TEST_F(LoggerTest, InTheBackgroundLinesKeepTheirOrderAndTheirPriority) {
    m_logger.AddRoute(LOG_SEVERITY_ALL, LOG_TARGET_SYSLOG);
    m_logger.WriteInBackground();
    std::vector<TSyslogCall> expected;
    for (int i = 0; i < 500; ++i) {
        m_logger.LogMsg(i % 2 == 0 ? LOG_SEVERITY_ERROR : LOG_SEVERITY_INFO, "%d", i);
        expected.push_back({i % 2 == 0 ? 3 : 5, (i % 2 == 0 ? "Error: " : "Info: ") + std::to_string(i)});
    }
    EXPECT_TRUE(m_logger.Flush());
    EXPECT_EQ(s_calls, expected);
    m_logger.ClearRoutes();
}

TEST_F(LoggerTest, LinesAreKeptForAForkUntilTheyMayBeWritten) {
    m_logger.AddRoute(LOG_SEVERITY_ALL, LOG_TARGET_SYSLOG);
    m_logger.KeepLines();
    m_logger.LogMsg(LOG_SEVERITY_INFO, "first");
    EXPECT_THAT(s_calls, IsEmpty());
    m_logger.WriteInBackground();
    m_logger.LogMsg(LOG_SEVERITY_INFO, "second");
    EXPECT_TRUE(m_logger.Flush());
    EXPECT_THAT(s_calls, ElementsAre(TSyslogCall{5, "Info: first"}, TSyslogCall{5, "Info: second"}));
    m_logger.ClearRoutes();
}

TEST_F(LoggerTest, KeptLinesOfAProcessThatEndsAreWritten) {
    m_logger.AddRoute(LOG_SEVERITY_ALL, LOG_TARGET_SYSLOG);
    m_logger.KeepLines();
    m_logger.LogMsg(LOG_SEVERITY_INFO, "only");
    EXPECT_TRUE(m_logger.Flush());
    EXPECT_THAT(s_calls, ElementsAre(TSyslogCall{5, "Info: only"}));
    m_logger.ClearRoutes();
}

TEST_F(LoggerTest, ASystemLogThatHangsHoldsUpNobodyAndWhatItMissedIsCounted) {
    m_logger.AddRoute(LOG_SEVERITY_ERROR, LOG_TARGET_SYSLOG);
    m_logger.WriteInBackground();
    constexpr std::size_t more = 7;
    {
        const std::lock_guard hanging(s_hanging);
        m_logger.LogMsg(LOG_SEVERITY_ERROR, "first");
        EXPECT_FALSE(m_logger.Flush());
        for (std::size_t i = 0; i < CLogQueue::CAPACITY + more; ++i) {
            m_logger.LogMsg(LOG_SEVERITY_ERROR, "%zu", i);
        }
    }
    EXPECT_TRUE(m_logger.Flush());
    // The writer has taken the first one and hung with it.
    ASSERT_EQ(s_calls.size(), 1 + CLogQueue::CAPACITY + 1);
    EXPECT_EQ(s_calls.front(), (TSyslogCall{3, "Error: first"}));
    EXPECT_EQ(s_calls[CLogQueue::CAPACITY], (TSyslogCall{3, "Error: " + std::to_string(CLogQueue::CAPACITY - 1)}));
    EXPECT_EQ(s_calls.back(), (TSyslogCall{4, "Warning: Logger: 7 lines were dropped while the system log took none"}));

    m_logger.LogMsg(LOG_SEVERITY_ERROR, "next");
    EXPECT_TRUE(m_logger.Flush());
    EXPECT_EQ(s_calls.back(), (TSyslogCall{3, "Error: next"}));
    m_logger.ClearRoutes();
}

TEST_F(LoggerTest, AnEndWithASystemLogThatHangsIsToldApart) {
    {
        CLogger logger;
        logger.AddRoute(LOG_SEVERITY_PROGRESS, LOG_TARGET_SYSLOG);
        logger.WriteInBackground();
        const std::lock_guard hanging(s_hanging);
        EXPECT_FALSE(logger.Shutdown());
    }
    m_logger.AddRoute(LOG_SEVERITY_PROGRESS, LOG_TARGET_SYSLOG);
    m_logger.WriteInBackground();
    EXPECT_TRUE(m_logger.Shutdown());
    EXPECT_EQ(s_calls.back(), (TSyslogCall{5, "None: Logger is shutting down"}));
}

TEST_F(LoggerTest, AMessageWithoutARouteWaitsForNobody) {
    m_logger.AddRoute(LOG_SEVERITY_ERROR, LOG_TARGET_SYSLOG);
    const std::lock_guard hanging(s_hanging);
    // Holds the logger for as long as the system log hangs.
    s_entered = 0;
    std::thread holder([this] { m_logger.LogMsg(LOG_SEVERITY_ERROR, "text"); });
    while (s_entered == 0) {
        std::this_thread::yield();
    }
    m_logger.LogMsg(LOG_SEVERITY_PROGRESS, "no route");
    m_logger.LogMsg(LOG_SEVERITY_INFO, "no route");
    s_hanging.unlock();
    holder.join();
    s_hanging.lock();
    EXPECT_THAT(s_calls, ElementsAre(TSyslogCall{3, "Error: text"}));
    m_logger.ClearRoutes();
}
