#include "ServiceUnderTest.h"

#include <fcntl.h>
#include <glob.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include "WireClient.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* s_reports = "/tmp/sanitizer-report";

[[noreturn]] void Fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

std::string ReadAll(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::size_t CountEntries(const std::string& directory) {
    std::error_code error;
    std::filesystem::directory_iterator entries(directory, error);
    std::size_t count = 0;
    for (; !error && entries != std::filesystem::directory_iterator(); entries.increment(error)) {
        ++count;
    }
    return count;
}

// The variable with our wishes behind what it holds. Reports go to files, so that those of a daemon without standard
// error are seen too.
std::string SanitizerOptions(const std::string& name) {
    const char* present = std::getenv(name.c_str());
    return name + "=" + (present != nullptr ? present : "") + ":log_path=" + s_reports +
           ":verify_asan_link_order=0"; // test equipment may be preloaded
}

// This process's environment with the settings in front, where the first of a name counts.
std::vector<std::string> EnvironmentFor(const ServiceStart& start) {
    std::vector<std::string> all = start.environment;
    for (const char* name : {"ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"}) {
        all.push_back(SanitizerOptions(name));
    }
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string text = *variable;
        const std::string name = text.substr(0, text.find('=') + 1);
        const bool isSet = std::any_of(all.begin(), all.end(), [&](const std::string& setting) {
            return setting.compare(0, name.size(), name) == 0;
        });
        if (!isSet) {
            all.push_back(text);
        }
    }
    return all;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (auto& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

int OpenProcess(pid_t pid) {
    return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
}

} // namespace

ServiceUnderTest::ServiceUnderTest(const ServiceStart& start) {
    char path[] = "/tmp/service-output-XXXXXX";
    const int output = mkostemp(path, O_CLOEXEC | O_APPEND);
    if (output < 0) {
        Fail("mkostemp");
    }
    m_outputPath = path;
    std::vector<std::string> arguments = start.arguments;
    arguments.insert(arguments.begin(), start.argv0);
    std::vector<std::string> environment = EnvironmentFor(start);
    const std::vector<char*> argumentPointers = Pointers(arguments);
    const std::vector<char*> environmentPointers = Pointers(environment);
    m_pid = fork();
    if (m_pid == 0) { // other threads run: nothing but system calls from here on
        dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
        dup2(output, STDOUT_FILENO);
        dup2(output, STDERR_FILENO);
        execve(SYLVARIN_SERVICE, argumentPointers.data(), environmentPointers.data());
        _exit(127);
    }
    close(output);
    if (m_pid < 0) {
        Fail("fork");
    }
    m_processDescriptor = OpenProcess(m_pid);
    if (m_processDescriptor < 0) {
        Fail("pidfd_open");
    }
}

ServiceUnderTest::ServiceUnderTest(pid_t daemon) : m_pid(daemon), m_processDescriptor(OpenProcess(daemon)) {
    if (m_processDescriptor < 0) {
        Fail("pidfd_open");
    }
}

ServiceUnderTest::~ServiceUnderTest() {
    if (!m_ending.ended) {
        Signal(SIGKILL);
        Signal(SIGCONT);
        WaitForEnd();
    }
    close(m_processDescriptor);
}

// True once the process has ended.
bool ServiceUnderTest::WaitOnProcess(std::chrono::milliseconds limit) const {
    pollfd waiting{m_processDescriptor, POLLIN, 0};
    return poll(&waiting, 1, static_cast<int>(limit.count())) > 0;
}

bool ServiceUnderTest::IsRunning() const {
    return !m_ending.ended && !WaitOnProcess(std::chrono::milliseconds(0));
}

bool ServiceUnderTest::WaitUntilAnswering() const {
    // Nothing to write and nothing to read: the one request that touches no object.
    const Bytes frame = "18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"_hex;
    const auto deadline = Clock::now() + TimeLimit;
    do {
        try {
            if (WireClient::Transact(frame) == "00 00 00 00"_hex) {
                return true;
            }
        } catch (const std::system_error&) {
            // Not there yet.
        }
    } while (!WaitOnProcess(std::chrono::milliseconds(2)) && Clock::now() < deadline);
    return false;
}

void ServiceUnderTest::Signal(int number) const {
    syscall(SYS_pidfd_send_signal, m_processDescriptor, number, nullptr, 0);
}

Ending ServiceUnderTest::WaitForEnd(std::chrono::milliseconds limit) {
    if (m_ending.ended || !WaitOnProcess(limit)) {
        return m_ending;
    }
    int status = 0;
    if (waitpid(m_pid, &status, 0) == m_pid) {
        m_ending.ended = true;
        m_ending.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        m_ending.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    }
    return m_ending;
}

Ending ServiceUnderTest::Stop() {
    Signal(SIGTERM);
    return WaitForEnd();
}

Usage ServiceUnderTest::CurrentUsage() const {
    const std::string process = "/proc/" + std::to_string(m_pid);
    return {CountEntries(process + "/task"), CountEntries(process + "/fd")};
}

std::size_t ServiceUnderTest::ResidentKiB() const {
    std::ifstream status("/proc/" + std::to_string(m_pid) + "/status");
    for (std::string word; status >> word;) {
        if (word == "VmRSS:") {
            std::size_t amount = 0;
            status >> amount;
            return amount;
        }
    }
    return 0;
}

Usage ServiceUnderTest::WaitUntilSteady() const {
    Usage usage = CurrentUsage();
    for (int same = 0; same < 10 && IsRunning();) {
        WaitOnProcess(std::chrono::milliseconds(2));
        const Usage next = CurrentUsage();
        same = next == usage ? same + 1 : 0;
        usage = next;
    }
    return usage;
}

bool ServiceUnderTest::WaitForUsage(const Usage& most) const {
    const auto deadline = Clock::now() + TimeLimit;
    for (;;) {
        const Usage usage = CurrentUsage();
        if (usage.threads <= most.threads && usage.descriptors <= most.descriptors) {
            return true;
        }
        if (Clock::now() > deadline || WaitOnProcess(std::chrono::milliseconds(2))) {
            return false;
        }
    }
}

std::string ServiceUnderTest::Output() const {
    return m_outputPath.empty() ? std::string() : ReadAll(m_outputPath);
}

std::string ServiceUnderTest::SanitizerReports() {
    glob_t found{};
    std::string reports;
    if (glob((std::string(s_reports) + "*").c_str(), 0, nullptr, &found) == 0) {
        for (std::size_t i = 0; i < found.gl_pathc; ++i) {
            reports += ReadAll(found.gl_pathv[i]);
        }
    }
    globfree(&found);
    return reports;
}
