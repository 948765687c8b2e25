#include "platform/OsUserProcess.h"

#include <pthread.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "platform/OsUserMutexLock.h"
#include "platform/OsUserPath.h"
#include "platform/OsUserSystem.h"

namespace {

// Holds the reaping of zombies off while a launch waits for its own child: a child reaped by anyone else would lose its
// exit status.
class CWaitProcessHandler {
public:
    static CWaitProcessHandler& GetInstance() {
        static CWaitProcessHandler s_instance;
        return s_instance;
    }

    void BlockRemoveProcessZombies() {
        CMutexLock lock(m_mutex);
        ++m_blockers;
    }

    void UnblockRemoveProcessZombies() {
        CMutexLock lock(m_mutex);
        --m_blockers;
        // Meant: also while other launches still wait.
        if (m_pendingRemoval) {
            Reap();
            m_pendingRemoval = false;
        }
    }

    void RemoveProcessZombies() {
        CMutexLock lock(m_mutex);
        if (m_blockers != 0) {
            m_pendingRemoval = true;
            return;
        }
        Reap();
    }

    // Under the mutex, so that the child's copy of it is not left locked by a thread that the child does not have.
    pid_t Fork() {
        CMutexLock lock(m_mutex);
        return fork();
    }

private:
    static void Reap() {
        while (waitpid(-1, nullptr, WNOHANG) > 0) {
        }
    }

    pthread_mutex_t m_mutex = PTHREAD_MUTEX_INITIALIZER;
    std::uint32_t m_blockers = 0;
    bool m_pendingRemoval = false;
};

// The program's path for the shell, resolved against the working directory; empty when there is none.
std::string FindProgram(std::string program, const char* workingDirectory) {
    if (workingDirectory != nullptr && *workingDirectory != '\0' && program.find('/') == std::string::npos) {
        std::string directory = workingDirectory;
        if (directory.back() != '/') {
            directory += '/';
        }
        program.insert(0, directory);
    }
    const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(program.c_str(), nullptr), &std::free);
    return resolved ? resolved.get() : "";
}

[[noreturn]] void RunChild(const char* command, const char* workingDirectory, int timeoutMs) {
    if (timeoutMs > 0) {
        CWaitProcessHandler::GetInstance().UnblockRemoveProcessZombies();
    }
    closefrom(3);
    if (workingDirectory != nullptr) {
        // Meant: a directory that cannot be entered does not stop the program.
        [[maybe_unused]] const int unchecked = chdir(workingDirectory);
    }
    const char* const arguments[] = {"/bin/sh", "-c", command, nullptr};
    char* const environment[] = {nullptr};
    execve("/bin/sh", const_cast<char* const*>(arguments), environment);
    _exit(1);
}

// The result of the last waitpid: 0 when the child overran the time.
pid_t WaitForChild(pid_t child, int timeoutMs, int* status) {
    const std::uint32_t start = OsUserGetTickCount();
    for (;;) {
        const pid_t waited = waitpid(child, status, WNOHANG);
        if (waited != 0 || OsUserGetTickCount() - start > static_cast<std::uint32_t>(timeoutMs)) {
            return waited;
        }
        usleep(1000);
    }
}

} // namespace

std::uint32_t OsUserLaunchProcess(const char* command, int showFlag, int timeoutMs, std::uint32_t* exitCodeOut) {
    return OsUserLaunchProcessInternal(command, nullptr, showFlag, timeoutMs, exitCodeOut, nullptr);
}

std::uint32_t OsUserLaunchProcessEx(const char* executable, const char* workingDirectory, const char* arguments,
                                    int showFlag, int timeoutMs, std::uint32_t* exitCodeOut) {
    std::string command = OsUserNormalizePath(executable);
    if (arguments != nullptr) {
        command += ' ';
        command += arguments;
    }
    return OsUserLaunchProcessInternal(command.c_str(), workingDirectory, showFlag, timeoutMs, exitCodeOut, nullptr);
}

std::uint32_t OsUserLaunchProcessInternal(const char* command, const char* workingDirectory, int /*showFlag*/,
                                          int timeoutMs, std::uint32_t* exitCodeOut, pid_t* processIdOut) {
    const std::size_t programLength = std::strcspn(command, " ");
    const std::string program = FindProgram(std::string(command, programLength), workingDirectory);
    struct stat status;
    if (program.empty() || stat(program.c_str(), &status) != 0) {
        return OSUSER_PROCESS_NOT_FOUND;
    }
    if (access(program.c_str(), X_OK) != 0) {
        return OSUSER_PROCESS_FAILED;
    }
    const std::string shellCommand = program + (command + programLength);

    CWaitProcessHandler& handler = CWaitProcessHandler::GetInstance();
    if (timeoutMs > 0) {
        handler.BlockRemoveProcessZombies();
    }
    const pid_t child = handler.Fork();
    if (child == 0) {
        RunChild(shellCommand.c_str(), workingDirectory, timeoutMs);
    }
    if (processIdOut != nullptr) {
        *processIdOut = child;
    }
    if (child < 0) {
        // Meant: the reaping stays held off.
        return OSUSER_PROCESS_NO_FORK;
    }
    int childStatus = 0;
    if (timeoutMs > 0) {
        const pid_t waited = WaitForChild(child, timeoutMs, &childStatus);
        handler.UnblockRemoveProcessZombies();
        if (waited <= 0) {
            return OSUSER_PROCESS_FAILED;
        }
    }
    if (!WIFEXITED(childStatus)) {
        return OSUSER_PROCESS_FAILED;
    }
    if (exitCodeOut != nullptr) {
        *exitCodeOut = static_cast<std::uint32_t>(WEXITSTATUS(childStatus));
    }
    return OSUSER_PROCESS_OK;
}

std::uint32_t OsUserCreateProcess(const char* command, const char* /*arguments*/, _OS_USER_PROC_INFO* info) {
    if (info == nullptr) {
        return OSUSER_PROCESS_NOT_FOUND;
    }
    const std::uint32_t result = OsUserLaunchProcessInternal(command, nullptr, 0, 0, nullptr, &info->dwProcessId);
    if (result == OSUSER_PROCESS_OK) {
        info->hProcess = nullptr;
        info->hThread = nullptr;
        info->dwThreadId = 0;
    }
    return result;
}

std::uint32_t OsUserTerminateProcess(const _OS_USER_PROC_INFO* info, std::uint32_t /*exitCode*/) {
    if (info == nullptr) {
        return OSUSER_PROCESS_NOT_FOUND;
    }
    // An identifier of a launch that failed would name a group of processes.
    if (info->dwProcessId <= 0) {
        return OSUSER_PROCESS_FAILED;
    }
    kill(info->dwProcessId, SIGTERM);
    return waitpid(info->dwProcessId, nullptr, 0) < 0 ? OSUSER_PROCESS_FAILED : OSUSER_PROCESS_OK;
}

std::uint32_t OsUserReleaseProcessHandle(_OS_USER_PROC_INFO* /*info*/) {
    return 0;
}

void OsUserRemoveProcessZombies() {
    CWaitProcessHandler::GetInstance().RemoveProcessZombies();
}
