#include "service/Exceptions.h"

#include <gtest/gtest.h>

#include <csignal>

#include "../common/LogOf.h"
#include "service/CDaemon.h"
#include "service/CSignals.h"

using Hesperd::CSignals;

TEST(Exceptions, AreRuntimeErrorsWithTheirText) {
    try {
        throw Hesperd::SignalException("Could not initialize Signal: SIGTERM");
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "Could not initialize Signal: SIGTERM");
    }
    EXPECT_THROW(throw Hesperd::MdpException("text"), std::runtime_error);
}

TEST(Signals, TerminateSetsAFlagThatIsNeverResetAndTheLineFollows) {
    EXPECT_FALSE(CSignals::SignalTerminateState());
    CSignals::InitSignals();
    std::raise(SIGPIPE);
    std::raise(SIGPIPE);
    const auto pipes = LogOf({LOG_SEVERITY_PROGRESS}, [] {
        CSignals::LogSignals();
        CSignals::LogSignals();
    });
    EXPECT_EQ(pipes, std::vector<std::string>(2, "None: Sylvarin->SignalHandlerPipe: Client crashed!"));
    EXPECT_FALSE(CSignals::SignalTerminateState());

    Hesperd::CDaemon daemon;
    daemon.Stop();
    EXPECT_TRUE(CSignals::SignalTerminateState());
    const auto lines = LogOf({LOG_SEVERITY_PROGRESS}, [] {
        CSignals::LogSignals();
        CSignals::LogSignals();
    });
    EXPECT_EQ(lines, std::vector<std::string>{"None: Sylvarin->SignalHandlerTerminate: Got terminate signal!"});
    EXPECT_TRUE(CSignals::SignalTerminateState());
    std::signal(SIGTERM, SIG_DFL);
}
