// yardstick SOCKET: accepts, starts a detached thread for each connection and gives one fixed answer; what the service
// is measured against.
#include <cstdio>
#include <thread>

#include <sys/socket.h>
#include <unistd.h>

#include "BareServer.h"
#include "Transaction.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s SOCKET\n", argv[0]);
        return 2;
    }
    const sockaddr_un address = Bench::SocketAddress(argv[1]);
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    unlink(argv[1]);
    if (listener < 0 || bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener, Bench::s_backlog) != 0) {
        std::perror(argv[1]);
        return 1;
    }
    for (;;) {
        const int client = accept(listener, nullptr, nullptr);
        if (client < 0) {
            std::perror("accept");
            return 1;
        }
        std::thread(Bench::Answer, client).detach();
    }
}
