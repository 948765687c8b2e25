#include "ServiceProcess.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

constexpr auto s_startTime = 60s; // a sanitizer's build on a busy machine takes its time
constexpr timeval s_answerTime{60, 0};

class Descriptor {
public:
    explicit Descriptor(int value) : m_value(value) {}

    ~Descriptor() {
        if (m_value >= 0) {
            close(m_value);
        }
    }

    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int Get() const { return m_value; }

private:
    int m_value;
};

[[noreturn]] void Fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

bool Connect(int socket) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", ServiceProcess::s_socket);
    return connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

} // namespace

ServiceProcess::ServiceProcess(const std::string& program) {
    if (access("/run/machine", F_OK) != 0) {
        throw std::runtime_error("not in the throw-away machine");
    }
    m_pid = fork();
    if (m_pid == 0) {
        execl(program.c_str(), program.c_str(), "-nofork", static_cast<char*>(nullptr));
        std::perror(program.c_str());
        _exit(127);
    }
    const auto deadline = std::chrono::steady_clock::now() + s_startTime;
    while (std::chrono::steady_clock::now() < deadline && IsRunning()) {
        const Descriptor probe(socket(AF_UNIX, SOCK_STREAM, 0));
        if (Connect(probe.Get())) {
            return;
        }
        std::this_thread::sleep_for(20ms);
    }
    Stop();
    throw std::runtime_error("the service does not come up");
}

ServiceProcess::~ServiceProcess() {
    Stop();
}

bool ServiceProcess::IsRunning() {
    if (m_pid > 0 && waitpid(m_pid, &m_status, WNOHANG) == m_pid) {
        m_pid = -1;
    }
    return m_pid > 0;
}

std::size_t ServiceProcess::ResidentBytes() const {
    std::ifstream statm("/proc/" + std::to_string(m_pid) + "/statm");
    std::size_t total = 0;
    std::size_t resident = 0;
    statm >> total >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

int ServiceProcess::Stop() {
    if (m_pid > 0) {
        kill(m_pid, SIGTERM);
        waitpid(m_pid, &m_status, 0);
        m_pid = -1;
    }
    return m_status;
}

std::vector<std::uint8_t> Transact(const std::vector<std::uint8_t>& bytes, ClientOptions options) {
    const Descriptor client(socket(AF_UNIX, SOCK_STREAM, 0));
    setsockopt(client.Get(), SOL_SOCKET, SO_RCVTIMEO, &s_answerTime, sizeof s_answerTime);
    setsockopt(client.Get(), SOL_SOCKET, SO_SNDTIMEO, &s_answerTime, sizeof s_answerTime);
    if (!Connect(client.Get())) {
        Fail("connect");
    }
    // A service that has seen enough may close before everything is written.
    (void)send(client.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (options.endsWriting) {
        shutdown(client.Get(), SHUT_WR);
    }
    std::vector<std::uint8_t> answer;
    while (!options.vanishes) {
        std::array<std::uint8_t, 4096> chunk;
        const ssize_t got = recv(client.Get(), chunk.data(), chunk.size(), 0);
        if (got < 0 && errno == EAGAIN) {
            Fail("no answer");
        }
        if (got <= 0) { // closed, with a reset where the service left bytes unread
            break;
        }
        answer.insert(answer.end(), chunk.begin(), chunk.begin() + got);
    }
    return answer;
}
