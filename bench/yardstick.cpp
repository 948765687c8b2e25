// yardstick [--staying] SOCKET: accepts, and gives one fixed answer to each connection; what the service is measured
// against. Each connection gets a thread of its own and the answer behind its length; or, with --staying, the thread
// that took it, after that has made sure that another one waits for clients, and both in one.
#include <atomic>
#include <cstdio>
#include <cstring>
#include <thread>

#include <sys/socket.h>
#include <unistd.h>

#include "BareServer.h"
#include "Transaction.h"

namespace {

int Accept(int listener) {
    const int client = accept(listener, nullptr, nullptr);
    if (client < 0) {
        std::perror("accept");
        _exit(1);
    }
    return client;
}

[[noreturn]] void ServeEachOnAThread(int listener) {
    for (;;) {
        std::thread(Bench::Answer, Accept(listener), Bench::Style::InTwoWrites).detach();
    }
}

std::atomic<int> s_waiting{1};

[[noreturn]] void ServeByThreadsThatStay(int listener) {
    for (;;) {
        const int client = Accept(listener);
        if (s_waiting.fetch_sub(1) == 1) {
            ++s_waiting;
            std::thread(ServeByThreadsThatStay, listener).detach();
        }
        Bench::Answer(client, Bench::Style::InOneWrite);
        ++s_waiting;
    }
}

} // namespace

int main(int argc, char** argv) {
    const bool staying = argc == 3 && std::strcmp(argv[1], "--staying") == 0;
    if (argc != 2 && !staying) {
        std::fprintf(stderr, "usage: %s [--staying] SOCKET\n", argv[0]);
        return 2;
    }
    const char* path = argv[argc - 1];
    const sockaddr_un address = Bench::SocketAddress(path);
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    unlink(path);
    if (listener < 0 || bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener, Bench::s_backlog) != 0) {
        std::perror(path);
        return 1;
    }
    if (staying) {
        ServeByThreadsThatStay(listener);
    }
    ServeEachOnAThread(listener);
}
