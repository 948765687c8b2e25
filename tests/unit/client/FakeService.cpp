#include "FakeService.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>

TestBytes Hex(const std::string& digits) {
    TestBytes bytes;
    std::string pair;
    for (const char c : digits) {
        if (std::isxdigit(static_cast<unsigned char>(c)) == 0) {
            continue;
        }
        pair += c;
        if (pair.size() == 2) {
            bytes.push_back(static_cast<std::uint8_t>(std::stoul(pair, nullptr, 16)));
            pair.clear();
        }
    }
    return bytes;
}

FakeReply Reply(const TestBytes& body) {
    const auto length = static_cast<std::uint32_t>(body.size());
    FakeReply reply;
    for (unsigned shift = 0; shift < 32; shift += 8) {
        reply.bytes.push_back(static_cast<std::uint8_t>(length >> shift));
    }
    reply.bytes.insert(reply.bytes.end(), body.begin(), body.end());
    return reply;
}

FakeService::FakeService(std::vector<FakeReply> script)
    : FakeService([rest = std::make_shared<std::vector<FakeReply>>(std::move(script)), next = std::size_t{0}](
                      const TestBytes&) mutable { return next < rest->size() ? (*rest)[next++] : NoReply(); }) {}

FakeService::FakeService(Handler handler) : m_handler(std::move(handler)) {
    char directory[] = "/tmp/mdp-client-test-XXXXXX";
    if (mkdtemp(directory) == nullptr) {
        throw std::runtime_error("mkdtemp");
    }
    m_directory = directory;
    m_path = m_directory + "/socket";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, m_path.data(), m_path.size());
    m_listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(m_listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(m_listener, 64) != 0) {
        throw std::runtime_error("bind or listen");
    }
    m_thread = std::thread([this] { Serve(); });
}

FakeService::~FakeService() {
    m_ending = true;
    // A connection of our own ends the wait for one.
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, m_path.data(), m_path.size());
    const int wake = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    (void)connect(wake, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    close(wake);
    m_thread.join();
    for (const int held : m_held) {
        close(held);
    }
    close(m_listener);
    std::filesystem::remove_all(m_directory);
}

std::vector<TestBytes> FakeService::Frames() const {
    std::lock_guard lock(m_mutex);
    return m_frames;
}

void FakeService::Serve() {
    for (;;) {
        const int connection = accept(m_listener, nullptr, nullptr);
        if (m_ending || connection < 0) {
            close(connection);
            return;
        }
        ServeConnection(connection);
    }
}

void FakeService::ServeConnection(int connection) {
    TestBytes frame;
    std::size_t wanted = 24;
    while (frame.size() < wanted) {
        std::uint8_t buffer[65536];
        const std::size_t room = wanted - frame.size();
        const ssize_t got = recv(connection, buffer, room < sizeof buffer ? room : sizeof buffer, 0);
        if (got <= 0) {
            close(connection);
            return;
        }
        frame.insert(frame.end(), buffer, buffer + got);
        if (frame.size() == 24) {
            wanted = 0;
            for (std::size_t i = 8; i > 0; --i) {
                wanted = wanted << 8 | frame[i - 1];
            }
        }
    }
    {
        std::lock_guard lock(m_mutex);
        m_frames.push_back(frame);
    }
    const FakeReply reply = m_handler(frame);
    for (std::size_t sent = 0; sent < reply.bytes.size();) {
        const ssize_t put = send(connection, reply.bytes.data() + sent, reply.bytes.size() - sent, MSG_NOSIGNAL);
        if (put <= 0) {
            break;
        }
        sent += static_cast<std::size_t>(put);
    }
    if (reply.holdOpen) {
        m_held.push_back(connection);
    } else {
        close(connection);
    }
}
