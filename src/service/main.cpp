#include <syslog.h>
#include <unistd.h>

#include "host/Programs.h"
#include "log/Logger.h"
#include "service/CDaemon.h"
#include "service/CMdp.h"
#include "service/CSignals.h"
#include "service/CommandLine.h"
#include "service/Exceptions.h"
#include "service/PipeCommunication.h"

using Hesperd::CSignals;

namespace {

constexpr useconds_t TERMINATE_POLL_US = 10000;

constexpr int EXIT_OK = 0;
constexpr int EXIT_NOT_STARTED = 1;

// The life of the service from the first log line to the last object.
int RunService(int argc, char** argv) {
    const bool doFork = GetDoFork(argc, argv);
    if (!doFork) {
        g_pLogger->WriteInBackground();
    }
    for (const logSeverity severity : {LOG_SEVERITY_INFO, LOG_SEVERITY_WARNING, LOG_SEVERITY_ERROR}) {
        g_pLogger->AddRoute(severity, LOG_TARGET_SYSLOG);
    }
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "------------- Sylvarin (START) -------------");
    if (GetVerboseModeEnabled(argc, argv)) {
        g_pLogger->AddRoute(LOG_SEVERITY_PROGRESS, LOG_TARGET_SYSLOG);
    }
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "Main: -Verbose Mode: Enabled");
    CSignals::InitSignals();
    Host::ExtendSearchPath();

    Hesperd::CDaemon daemon;
    if (!daemon.Start(doFork)) {
        return EXIT_NOT_STARTED;
    }
    Hesperd::CMdp mdp;
    mdp.Create();
    Hesperd::PipeCommunication pipe;
    pipe.Init();
    g_pLogger->LogMsg(LOG_SEVERITY_INFO, "Sylvarin started.");
    while (!CSignals::SignalTerminateState()) {
        CSignals::LogSignals();
        usleep(TERMINATE_POLL_US);
    }
    CSignals::LogSignals();
    pipe.Close();
    mdp.Destroy();
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "------------- Sylvarin (END) -------------");
    return EXIT_OK;
}

} // namespace

int main(int argc, char** argv) {
    openlog("Sylvarin", LOG_PID | LOG_CONS | LOG_NDELAY | LOG_NOWAIT, LOG_LOCAL0);
    if (g_pLogger == nullptr) {
        g_pLogger = new CLogger;
    }
    try {
        // A service that did not start leaves the logger and the system log as they are.
        if (RunService(argc, argv) == EXIT_NOT_STARTED) {
            g_pLogger->Flush();
            return EXIT_NOT_STARTED;
        }
    } catch (const Hesperd::MdpException& exception) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "Main: Exception Sylvarin->CMdp->Create: %s", exception.what());
    } catch (const Hesperd::SignalException& exception) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "Main: Exception Sylvarin->CDaemon->Start: %s", exception.what());
    } catch (...) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "Main: Unknown exception!");
    }
    // Not deleted: connections and workers that are still busy may log until the process is gone.
    if (g_pLogger->Shutdown()) {
        closelog();
    }
    return EXIT_OK;
}
