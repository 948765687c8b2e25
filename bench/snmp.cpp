// snmp PORT: answers a second that an SNMP agent on this machine gives over UDP to eight clients, each of which asks
// for one value (the agent's uptime) again and again for five seconds.
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr int s_clients = 8;
constexpr std::chrono::seconds s_time{5};

constexpr std::array<std::uint8_t, 43> s_request = {
    0x30, 0x29,                                                 // message
    0x02, 0x01, 0x01,                                           // version 2c
    0x04, 0x06, 'p',  'u',  'b',  'l',  'i',  'c',              // community
    0xA0, 0x1C,                                                 // get
    0x02, 0x04, 0x00, 0x00, 0x00, 0x01,                         // request
    0x02, 0x01, 0x00, 0x02, 0x01, 0x00,                         // no error
    0x30, 0x0E, 0x30, 0x0C,                                     // one value
    0x06, 0x08, 0x2B, 0x06, 0x01, 0x02, 0x01, 0x01, 0x03, 0x00, // 1.3.6.1.2.1.1.3.0
    0x05, 0x00,
};

unsigned long AnswersOf(const sockaddr_in& agent) {
    const int s = socket(AF_INET, SOCK_DGRAM, 0);
    const timeval limit{2, 0};
    if (s < 0 || connect(s, reinterpret_cast<const sockaddr*>(&agent), sizeof agent) != 0 ||
        setsockopt(s, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) != 0) {
        return 0;
    }
    unsigned long answers = 0;
    const auto end = std::chrono::steady_clock::now() + s_time;
    std::array<std::uint8_t, 1500> answer;
    while (std::chrono::steady_clock::now() < end && send(s, s_request.data(), s_request.size(), 0) > 0 &&
           recv(s, answer.data(), answer.size(), 0) > 0) {
        ++answers;
    }
    close(s);
    return answers;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s PORT\n", argv[0]);
        return 2;
    }
    sockaddr_in agent{};
    agent.sin_family = AF_INET;
    agent.sin_port = htons(static_cast<std::uint16_t>(std::atoi(argv[1])));
    agent.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::atomic<unsigned long> answers{0};
    std::vector<std::thread> clients;
    for (int i = 0; i < s_clients; ++i) {
        clients.emplace_back([&] { answers += AnswersOf(agent); });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    std::printf("%lu\n", answers.load() / static_cast<unsigned long>(s_time.count()));
}
