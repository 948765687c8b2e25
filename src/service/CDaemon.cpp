#include "service/CDaemon.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include "log/Logger.h"

namespace Hesperd {

namespace {

// daemon(3) in a child: this process stays until the system log has its lines, and ends as the child does.
bool BecomeDaemon() {
    g_pLogger->PrepareFork();
    const pid_t child = fork();
    if (child < 0) {
        return false;
    }
    if (child == 0) {
        g_pLogger->ChildAfterFork();
        return daemon(0, 0) == 0;
    }
    g_pLogger->ParentAfterFork();
    int status = 0;
    while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
    }
    _exit(WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_FAILURE);
}

} // namespace

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
        if (!BecomeDaemon()) {
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
