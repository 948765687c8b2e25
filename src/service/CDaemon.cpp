#include "service/CDaemon.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include "log/Logger.h"

namespace Hesperd {

CDaemon::~CDaemon() {
    if (Host::PidFileRemove(m_pidFile) < 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CDaemon: pidfile_remove failed: %d", errno);
    }
}

bool CDaemon::Start(bool doFork) {
    pid_t otherPid = 0;
    m_pidFile = Host::PidFileOpen(m_pidFilePath.c_str(), 0600, &otherPid);
    if (m_pidFile == nullptr) {
        if (errno == EEXIST) {
            g_pLogger->LogMsg(LOG_SEVERITY_INFO, "Sylvarin is already running!");
            return false;
        }
        g_pLogger->LogMsg(LOG_SEVERITY_WARNING, "CDaemon: Cannot create pidfile!");
    }
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CDaemon: Starting Sylvarin-Daemon");
    if (doFork) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CDaemon: Do fork");
        if (daemon(0, 0) < 0) {
            g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "Could not daemonize!");
            return false;
        }
        g_pLogger->WriteInBackground();
        if (m_pidFile != nullptr) {
            Host::PidFileWrite(m_pidFile);
        }
    } else {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CDaemon: Do NOT fork");
    }
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CDaemon: Daemon started");
    return true;
}

void CDaemon::Stop() {
    std::raise(SIGTERM);
}

} // namespace Hesperd
