#include "service/PipeCommunication.h"

#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <new>
#include <string_view>
#include <system_error>

#include "log/Logger.h"
#include "service/CSignals.h"

namespace Hesperd {

namespace {

constexpr const char* SOCKET_PATH = "/tmp/MDP0";
constexpr int BACKLOG = 10;
// A frame is read in pieces of this size; a call takes several where more is wanted.
constexpr std::size_t READ_PIECE = 512;
constexpr std::size_t READ_PIECES = 128;
// With this much to come, the rest of a frame is asked for so often before its thread sleeps.
constexpr std::size_t LARGE_REST = 4096;
constexpr int YIELDS_FOR_MORE = 200;

// The listening socket, for the stop that cannot reach the receiver through the socket's path. -1 while there is none.
std::atomic<int> s_listening{-1};

sockaddr_un SocketAddress() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, SOCKET_PATH, sizeof address.sun_path - 1);
    return address;
}

// Sockets of the service are not for the programs that it runs: a daemon among them would keep a client's connection
// open.
int NewSocket(int flags = 0) {
    return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0);
}

// Lets a large reply out without waiting for the client to read it, as far as the system allows: less only makes it
// slower.
void MakeRoom(int socket, std::size_t size) {
    constexpr std::size_t enough = 64U << 10;
    constexpr std::size_t largest = 2U << 20;
    if (size <= enough) {
        return;
    }
    const auto room = static_cast<int>(std::min(size, largest));
#ifdef SO_SNDBUFFORCE
    if (setsockopt(socket, SOL_SOCKET, SO_SNDBUFFORCE, &room, sizeof room) == 0) {
        return;
    }
#endif
    setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
}

bool WriteAll(int socket, const void* from, std::size_t count) {
    const auto* bytes = static_cast<const unsigned char*>(from);
    while (count != 0) {
        const ssize_t written = write(socket, bytes, count);
        if (written < 0) {
            return false;
        }
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
    return true;
}

// One call that reads up to `wanted` bytes, in pieces. As readv, and where it is not to wait, as recvmsg.
ssize_t ReadPieces(int socket, unsigned char* bytes, std::size_t wanted, bool waits) {
    std::array<iovec, READ_PIECES> pieces;
    std::size_t count = 0;
    do {
        const std::size_t size = std::min(wanted, READ_PIECE);
        pieces[count++] = {bytes, size};
        bytes += size;
        wanted -= size;
    } while (wanted != 0 && count < pieces.size());
    if (waits) {
        // Not recvmsg, which on Linux waits for a byte even where none is wanted.
        return readv(socket, pieces.data(), static_cast<int>(count));
    }
    msghdr message{};
    message.msg_iov = pieces.data();
    message.msg_iovlen = static_cast<decltype(message.msg_iovlen)>(count);
    return recvmsg(socket, &message, MSG_DONTWAIT);
}

// Reads to `bytes + received` until there are `total` bytes. Stops at the end of file. Negative on failure.
ssize_t ReadUpTo(int socket, unsigned char* bytes, std::size_t& received, std::size_t total) {
    ssize_t count = 0;
    int yields = 0;
    do {
        // The rest of a large frame is on its way: to sleep and be woken for each part costs more than to ask again.
        const bool asksAgain = total - received >= LARGE_REST && yields < YIELDS_FOR_MORE;
        count = ReadPieces(socket, bytes + received, total - received, !asksAgain);
        if (count > 0) {
            received += static_cast<std::size_t>(count);
            yields = 0;
        } else if (asksAgain && count < 0 && errno == EAGAIN) {
            ++yields;
            std::this_thread::yield();
            count = 1;
        }
    } while (count > 0 && received < total);
    return count;
}

// Reads one frame, runs it and writes the reply.
void RunTransaction(int socket) {
    unsigned char header[_tagTPipeTransact::HEADER_SIZE] = {};
    std::size_t received = 0;
    if (ReadUpTo(socket, header, received, sizeof header) < 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "Read socket failed (client terminated): %d", errno);
        return;
    }
    const std::uint64_t cbData = _tagTPipeTransact{header}.cbData();
    const bool isFrame = received == sizeof header && cbData >= sizeof header && cbData <= _tagTPipeTransact::MAX_SIZE;

    CFrameMemory memory(isFrame ? cbData : 0);
    if (!memory.IsValid()) {
        return;
    }
    if (isFrame) {
        std::memcpy(memory.Bytes(), header, sizeof header);
        if (ReadUpTo(socket, memory.Bytes(), received, cbData) < 0) {
            g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "Read socket failed in loop (client terminated): %d", errno);
            return;
        }
    }
    if (received != cbData) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR,
                          "HandleRequest: Number of bytes read does not match data length! bytesRead:%zu cbData:%lu",
                          received, static_cast<unsigned long>(cbData));
        return;
    }
    if (!isFrame) {
        return;
    }

    _tagTPipeTransact frame{memory.Bytes()};
    unsigned int replyLength = 0;
    unsigned int replyOffset = 0;
    ObjResult result = OBJ_E_OUTOFMEMORY;
    try {
        result = PipeCommunication::ExtractPipeTransactionPackage(&frame, &replyLength, &replyOffset);
    } catch (const std::bad_alloc&) { // told below, to this client only
    }
    if (result != OBJ_E_NOERR) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "PipeCommunication: ExtractPipeTransactionPackage failed: %ld",
                          static_cast<long>(static_cast<std::int32_t>(result)));
        return;
    }
    MakeRoom(socket, replyLength);
    if (!WriteAll(socket, &replyLength, sizeof replyLength) ||
        !WriteAll(socket, memory.Bytes() + replyOffset, replyLength)) {
        const int error = errno;
        CSignals::LogSignals();
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "Write socket failed (client terminated): %d", error);
    }
}

void CloseSocket(int socket) {
    if (close(socket) != 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "Close socket failed: %d", errno);
    }
}

// Opens the listening socket. -1, with the line that tells why, where that fails.
int Listen() {
    const int listening = NewSocket();
    if (listening < 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "Create server socket failed: %d", errno);
        return -1;
    }
    unlink(SOCKET_PATH);
    const sockaddr_un address = SocketAddress();
    if (bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
        // Meant: the socket stays open.
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "Create server binding failed: %d", errno);
        return -1;
    }
    if (listen(listening, BACKLOG) < 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "Listen failed: %d", errno);
        return -1;
    }
    return listening;
}

} // namespace

ObjResult PipeCommunication::Init() {
    m_receiver = std::thread(Receiver);
    return OBJ_E_NOERR;
}

void PipeCommunication::Receiver() {
    const int listening = Listen();
    if (listening < 0) {
        return;
    }
    s_listening.store(listening);
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "Waiting for client...");
    for (;;) {
        // Looked at here too: a stop that came before the socket listened could not connect to it.
        int client = -1;
        if (!CSignals::SignalTerminateState()) {
            client = accept4(listening, nullptr, nullptr, SOCK_CLOEXEC);
        }
        const int error = errno;
        if (CSignals::SignalTerminateState()) {
            if (client >= 0) {
                close(client);
            }
            s_listening.store(-1);
            close(listening);
            g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "PipeCommunication::Receiver(): Terminate!");
            return;
        }
        if (client < 0) {
            g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "Accept failed: %d", error);
            return;
        }
        try {
            std::thread(HandleRequest, client).detach();
        } catch (const std::system_error& failure) {
            g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "Create client thread failed: %d", failure.code().value());
            CloseSocket(client);
        }
    }
}

void PipeCommunication::Close() {
    constexpr std::string_view terminate = "SIGTERM";
    // Where the receiver has ended and clients that nobody accepts fill the queue, connecting would wait for ever.
    const int waker = NewSocket(SOCK_NONBLOCK);
    if (waker < 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "PipeCommunication::Close(): Create client socket failed: %d", errno);
        // Without the wake-up the receiver cannot be waited for; the end of the process ends it.
        if (m_receiver.joinable()) {
            m_receiver.detach();
        }
        return;
    }
    const sockaddr_un address = SocketAddress();
    if (connect(waker, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
        // Meant: nobody reads it, and the result does not matter.
        [[maybe_unused]] const ssize_t written = write(waker, terminate.data(), terminate.size());
        // The path leads nowhere, but the receiver may still wait on its socket.
        shutdown(s_listening.load(), SHUT_RDWR);
    }
    close(waker);
    if (m_receiver.joinable()) {
        m_receiver.join();
    }
    unlink(SOCKET_PATH);
}

void PipeCommunication::HandleRequest(int socket) {
    RunTransaction(socket);
    CloseSocket(socket);
}

} // namespace Hesperd
