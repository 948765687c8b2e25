#include "SyslogSink.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <utility>

namespace {

constexpr const char* s_path = "/dev/log";
constexpr std::chrono::seconds s_timeLimit{30};

[[noreturn]] void Fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

// "<133>Nov 21 09:38:53 Sylvarin[12]: Info: Sylvarin started."
SyslogLine Parse(const std::string& message) {
    SyslogLine line{-1, -1, "", 0, message};
    const auto priorityEnd = message.find('>');
    if (message.empty() || message[0] != '<' || priorityEnd == std::string::npos) {
        return line;
    }
    const int code = std::atoi(message.c_str() + 1);
    line.facility = code >> 3;
    line.priority = code & 7;
    constexpr std::size_t timeLength = sizeof "Nov 21 09:38:53 " - 1;
    const std::size_t identStart = priorityEnd + 1 + timeLength;
    const auto identEnd = message.find(": ", identStart);
    if (identEnd == std::string::npos) {
        return line;
    }
    line.ident = message.substr(identStart, identEnd - identStart);
    line.text = message.substr(identEnd + 2);
    const auto bracket = line.ident.find('[');
    if (bracket != std::string::npos) {
        line.pid = std::atoi(line.ident.c_str() + bracket + 1);
        line.ident.resize(bracket);
    }
    return line;
}

} // namespace

SyslogSink::SyslogSink() {
    if (pipe2(m_stopPipe, O_CLOEXEC) != 0) {
        Fail("pipe");
    }
    m_socket = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (m_socket < 0) {
        Fail("socket");
    }
    // A sender whose socket is full waits, so nothing gets lost; this only keeps senders from waiting often.
    const int size = 4 << 20;
    setsockopt(m_socket, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, s_path, sizeof address.sun_path - 1);
    unlink(s_path);
    if (bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        Fail("bind /dev/log");
    }
    m_thread = std::thread(&SyslogSink::Receive, this);
}

SyslogSink::~SyslogSink() {
    close(m_stopPipe[1]);
    m_thread.join();
    close(m_stopPipe[0]);
    close(m_socket);
    unlink(s_path);
}

void SyslogSink::Receive() {
    char buffer[8192];
    for (;;) {
        pollfd waiting[] = {{m_socket, POLLIN, 0}, {m_stopPipe[0], POLLIN, 0}};
        if (poll(waiting, 2, -1) < 0 && errno != EINTR) {
            return;
        }
        if (waiting[0].revents == 0) {
            if (waiting[1].revents != 0) {
                return;
            }
            continue;
        }
        const ssize_t length = recv(m_socket, buffer, sizeof buffer, 0);
        if (length < 0) {
            continue;
        }
        SyslogLine line = Parse(std::string(buffer, static_cast<std::size_t>(length)));
        {
            std::lock_guard lock(m_watcherMutex);
            if (m_watcher) {
                m_watcher(line);
            }
        }
        {
            std::lock_guard lock(m_mutex);
            m_lines.push_back(std::move(line));
        }
        m_arrived.notify_all();
    }
}

std::vector<SyslogLine> SyslogSink::Lines() const {
    std::lock_guard lock(m_mutex);
    return m_lines;
}

std::vector<std::string> SyslogSink::Texts() const {
    std::vector<std::string> texts;
    for (const auto& line : Lines()) {
        texts.push_back(line.text);
    }
    return texts;
}

std::size_t SyslogSink::Count(const std::string& text) const {
    const auto texts = Texts();
    return static_cast<std::size_t>(std::count(texts.begin(), texts.end(), text));
}

bool SyslogSink::WaitUntil(const std::function<bool(const SyslogLine&)>& wanted) const {
    std::unique_lock lock(m_mutex);
    return m_arrived.wait_for(lock, s_timeLimit, [&] { return std::any_of(m_lines.begin(), m_lines.end(), wanted); });
}

bool SyslogSink::WaitFor(const std::string& text) const {
    return WaitUntil([&](const SyslogLine& line) { return line.text == text; });
}

bool SyslogSink::WaitForStart(const std::string& start) const {
    return WaitUntil([&](const SyslogLine& line) { return line.text.compare(0, start.size(), start) == 0; });
}

void SyslogSink::SetWatcher(std::function<void(const SyslogLine&)> watcher) {
    std::lock_guard lock(m_watcherMutex);
    m_watcher = std::move(watcher);
}

void SyslogSink::Clear() {
    std::lock_guard lock(m_mutex);
    m_lines.clear();
}
