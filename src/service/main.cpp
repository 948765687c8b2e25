#include <sys/resource.h>
#include <syslog.h>

#include "host/FreeMemory.h"
#include "host/Programs.h"
#include "log/Logger.h"
#include "service/CDaemon.h"
#include "service/CMdp.h"
#include "service/CSignals.h"
#include "service/CommandLine.h"
#include "service/Exceptions.h"
#include "service/PipeCommunication.h"
#include "sysconfig/CSystem.h"

using Hesperd::CSignals;

namespace {

constexpr int EXIT_OK = 0;
constexpr int EXIT_NOT_STARTED = 1;
constexpr int EXIT_NO_SOCKET = 2;

// A connection takes a descriptor: as many as the system lets the service have.
void RaiseDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

// The life of the service from the first log line to the last object.
int RunService(int argc, char** argv) {
    Host::KeepFreeMemory();
    const bool doFork = GetDoFork(argc, argv);
    if (doFork) {
        g_pLogger->KeepLines();
    } else {
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
    RaiseDescriptorLimit();

    Hesperd::CDaemon daemon;
    if (!daemon.Start(doFork)) {
        return EXIT_NOT_STARTED;
    }
    Hesperd::CMdp mdp;
    mdp.Create();
    Hesperd::PipeCommunication pipe;
    pipe.Init();
    g_pLogger->LogMsg(LOG_SEVERITY_INFO, "Sylvarin started.");
    while (!CSignals::SignalTerminateState() && !pipe.IsBroken()) {
        CSignals::LogSignals();
        CSignals::Wait(pipe.Tend());
    }
    CSignals::LogSignals();
    pipe.Close();
    mdp.Destroy();
    ZMBSD::CSystem::DeleteOutputFiles();
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "------------- Sylvarin (END) -------------");
    return pipe.IsBroken() ? EXIT_NO_SOCKET : EXIT_OK;
}

} // namespace

int main(int argc, char** argv) {
    openlog("Sylvarin", LOG_PID | LOG_CONS | LOG_NDELAY | LOG_NOWAIT, LOG_LOCAL0);
    if (g_pLogger == nullptr) {
        g_pLogger = new CLogger;
    }
    int status = EXIT_OK;
    try {
        status = RunService(argc, argv);
        if (status == EXIT_NOT_STARTED) {
            // Meant: a service that did not start leaves the logger and the system log as they are.
            g_pLogger->Flush();
            return status;
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
    return status;
}
