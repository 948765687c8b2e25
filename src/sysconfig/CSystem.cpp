#include "sysconfig/CSystem.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>
#include <memory>
#include <mutex>
#include <new>
#include <sstream>

#include "host/Programs.h"
#include "host/WholeFile.h"
#include "log/Logger.h"
#include "platform/StringHelper.h"
#include "sysconfig/CSettingsLock.h"
#include "sysconfig/ReplaceFile.h"

namespace ZMBSD {

namespace {

constexpr std::uint32_t s_outOfMemory = 0x8007000E;
constexpr std::uint32_t s_noOutput = static_cast<std::uint32_t>(-1);

// The argument vector of a program, ended by a null pointer, or a null pointer when memory lacks.
class CArgumentVector {
public:
    explicit CArgumentVector(const std::vector<std::string>& arguments)
        : m_pointers(new (std::nothrow) char* [arguments.size() + 1] {}) {
        if (m_pointers == nullptr) {
            return;
        }
        for (std::size_t i = 0; i < arguments.size(); ++i) {
            m_pointers[i] = new (std::nothrow) char[arguments[i].size() + 1];
            if (m_pointers[i] == nullptr) {
                Free();
                return;
            }
            std::memcpy(m_pointers[i], arguments[i].c_str(), arguments[i].size() + 1);
            g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "  [%d]: %s", static_cast<int>(i), m_pointers[i]);
        }
    }

    ~CArgumentVector() { Free(); }

    CArgumentVector(const CArgumentVector&) = delete;
    CArgumentVector& operator=(const CArgumentVector&) = delete;

    char* const* Get() const { return m_pointers.get(); }

private:
    void Free() {
        for (std::size_t i = 0; m_pointers != nullptr && m_pointers[i] != nullptr; ++i) {
            delete[] m_pointers[i];
        }
        m_pointers.reset();
    }

    std::unique_ptr<char*[]> m_pointers;
};

struct TOutputFiles {
    std::mutex mutex;
    std::list<std::string> names;
    bool isEnding = false;
};

// Never destroyed: threads that no stop waits for may still run commands.
TOutputFiles& OutputFiles() {
    static auto* files = new TOutputFiles;
    return *files;
}

// A file of this process's own for the shell to write to, empty where it cannot be made. It is there, and ours, before
// the shell opens its name, so a link that somebody else laid under that name is never followed.
std::string MakeOutputFile() {
    TOutputFiles& files = OutputFiles();
    const std::lock_guard lock(files.mutex);
    if (files.isEnding) {
        errno = ECANCELED;
        return {};
    }
    std::string& name = files.names.emplace_front(P_tmpdir "/fileXXXXXX");
    const int descriptor = mkostemp(name.data(), O_CLOEXEC);
    if (descriptor == -1) {
        files.names.pop_front();
        return {};
    }
    close(descriptor);
    return name;
}

int DeleteOutputFile(const std::string& name) {
    TOutputFiles& files = OutputFiles();
    const std::lock_guard lock(files.mutex);
    files.names.remove(name);
    return std::remove(name.c_str());
}

std::uint32_t WaitForExit(pid_t child) {
    int status = 0;
    // Any other failure leaves 0: a child that was already reaped elsewhere counts as a success.
    while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
    }
    const bool endedNormally = (status & 0x7F) == 0;
    return static_cast<std::uint32_t>(endedNormally ? status >> 8 : status);
}

} // namespace

bool CSystem::IsShellSafe(const std::string& name) {
    constexpr const char* safe = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._@-";
    return !name.empty() && name.find_first_not_of(safe) == std::string::npos;
}

void CSystem::Execute(const std::string& command) {
    [[maybe_unused]] const int status = std::system(command.c_str());
}

std::uint32_t CSystem::Execute(const std::string& command, std::vector<std::string>& output) {
    output.clear();
    const std::string file = MakeOutputFile();
    if (file.empty()) {
        return static_cast<std::uint32_t>(errno);
    }
    const int exit = std::system((command + " > " + file).c_str());
    const std::uint32_t status = exit != 0 ? static_cast<std::uint32_t>(exit) : ReadFile(file, output);
    const int removed = DeleteOutputFile(file); // in any case: what fails every few seconds would fill the disc
    return status != 0 ? status : static_cast<std::uint32_t>(removed);
}

std::uint32_t CSystem::Execute(const std::string& command, std::string& output) {
    std::vector<std::string> lines;
    if (const std::uint32_t status = Execute(command, lines); status != 0) {
        return status;
    }
    if (lines.empty()) {
        return s_noOutput;
    }
    output = lines.front();
    return 0;
}

std::uint32_t CSystem::Execute(const std::string& command, unsigned long& output) {
    std::string line;
    if (const std::uint32_t status = Execute(command, line); status != 0) {
        return status;
    }
    output = std::stoul(line);
    return 0;
}

void CSystem::DeleteOutputFiles() {
    TOutputFiles& files = OutputFiles();
    const std::lock_guard lock(files.mutex);
    files.isEnding = true;
    for (const std::string& name : files.names) {
        unlink(name.c_str());
    }
}

std::uint32_t CSystem::ExecuteSecure(const char* path, ...) {
    std::vector<std::string> arguments;
    std::va_list list;
    va_start(list, path);
    const char* argument = path;
    while (argument != nullptr) {
        arguments.emplace_back(argument);
        argument = va_arg(list, const char*);
    }
    va_end(list);
    return ExecuteSecureInternal(arguments);
}

std::uint32_t CSystem::ExecuteSecureInternal(const std::vector<std::string>& arguments) {
    if (arguments.empty()) {
        return 1;
    }
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "cmdArray:");
    const CArgumentVector argumentVector(arguments);
    if (argumentVector.Get() == nullptr) {
        return s_outOfMemory;
    }
    const std::string program = Host::FindProgram(arguments.front());
    char* const environment[] = {nullptr};

    const pid_t child = fork();
    if (child == -1) {
        return static_cast<std::uint32_t>(errno);
    }
    if (child == 0) {
        // Other threads may hold any lock at the fork: only async-signal-safe calls from here.
        execve(program.c_str(), argumentVector.Get(), environment);
        _exit(1);
    }
    const std::uint32_t status = WaitForExit(child);
    if (status == 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "WEXITSTATUS returned: %d", 0);
    } else {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "WEXITSTATUS returned: %d errno: %d", static_cast<int>(status), errno);
    }
    return status;
}

std::uint32_t CSystem::ReadFile(const std::string& path, std::vector<std::string>& lines) {
    lines.clear();
    std::string content;
    const int error = Host::ReadWholeFile(path, content);
    std::istringstream stream(content);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    // What was read of a file that cannot be read to its end must not become the file.
    return static_cast<std::uint32_t>(error);
}

std::uint32_t CSystem::ReadFile(const std::string& path, std::string& text) {
    text.clear();
    std::vector<std::string> lines;
    if (ReadFile(path, lines) != 0) {
        return static_cast<std::uint32_t>(errno);
    }
    text = JoinLines(lines);
    return 0;
}

std::uint32_t CSystem::ReadSystemLog(std::vector<std::string>& lines) {
    return ReadFile(SYSLOG_PATH, lines);
}

std::uint32_t CSystem::WriteFile(const std::string& path, const std::vector<std::string>& lines) {
    const CSettingsLock lock;
    // 0 also when nothing could be written: meant so.
    ReplaceFile(path, JoinLines(lines));
    return 0;
}

std::string CSystem::JoinLines(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line + '\n';
    }
    return text;
}

std::string CSystem::ParseValue(const std::string& text, const std::string& key) {
    const std::size_t position = text.find(key);
    if (position == std::string::npos) {
        return {};
    }
    std::string value = text.substr(position + key.size());
    CStringHelper::ltrim(value);
    return value;
}

int CSystem::CreateDirectories(const std::string& path) {
    return std::system(("mkdir -p " + path).c_str());
}

std::uint32_t CSystem::SetTimeZone(const std::string& zone) {
    return ExecuteSecure(TZSETUP_PATH, zone.c_str(), nullptr);
}

void CSystem::ServiceStart(const std::string& service) {
    ExecuteSecure(SERVICE_PATH, service.c_str(), "start", nullptr);
}

void CSystem::ServiceStop(const std::string& service) {
    ExecuteSecure(SERVICE_PATH, service.c_str(), "stop", nullptr);
}

std::uint32_t CSystem::ServiceRestart(const std::string& service) {
    return ExecuteSecure(SERVICE_PATH, service.c_str(), "restart", nullptr);
}

std::uint32_t CSystem::ServiceRoutingRestart() {
    return ExecuteSecure(ROUTING_PATH, "restart", nullptr);
}

std::uint32_t CSystem::PwUserAdd(const std::string& user) {
    return ExecuteSecure(PW_PATH, "user", "add", "-m", "-n", user.c_str(), nullptr);
}

std::uint32_t CSystem::PwUserDelete(const std::string& user) {
    return ExecuteSecure(PW_PATH, "user", "del", user.c_str(), nullptr);
}

std::uint32_t CSystem::PwUserGroupAdd(const std::string& user, const std::string& group) {
    return ExecuteSecure(PW_PATH, "groupmod", group.c_str(), "-m", user.c_str(), nullptr);
}

std::uint32_t CSystem::PwUserGroupRemove(const std::string& user, const std::string& group) {
    return ExecuteSecure(PW_PATH, "groupmod", group.c_str(), "-d", user.c_str(), nullptr);
}

std::uint32_t CSystem::PwGroupAdd(const std::string& group) {
    return ExecuteSecure(PW_PATH, "group", "add", group.c_str(), nullptr);
}

std::uint32_t CSystem::PwGroupDelete(const std::string& group) {
    return ExecuteSecure(PW_PATH, "group", "del", group.c_str(), nullptr);
}

std::string CSystem::NetstatGetDefaultGateway(const std::string& interface) {
    std::string gateway;
    if (!IsShellSafe(interface)) {
        return gateway;
    }
    // An empty text, whether the query failed or printed nothing.
    Execute("route -n get default -interface " + interface + " | awk '/gateway/ {print $2}'", gateway);
    return gateway;
}

void CSystem::UpdateResolver() {
    ExecuteSecure(RESOLVCONF_PATH, "-u", nullptr);
}

} // namespace ZMBSD
