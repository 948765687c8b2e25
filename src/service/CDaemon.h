#pragma once

#include <string>

#include "host/PidFile.h"

namespace Hesperd {

// The life of the process as a daemon, guarded by a pid file.
class CDaemon {
public:
    CDaemon() = default;
    // Removes the pid file.
    ~CDaemon();
    CDaemon(const CDaemon&) = delete;
    CDaemon& operator=(const CDaemon&) = delete;

    // False where another instance runs or the process cannot become a daemon. Without a fork the pid file stays empty,
    // locked only.
    bool Start(bool doFork);

    // Raises SIGTERM in the process.
    void Stop();

private:
    std::string m_pidFilePath = "/var/run/Sylvarin.pid";
    Host::PidFileHandle* m_pidFile = nullptr;
};

} // namespace Hesperd
