#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <exception>
#include <optional>
#include <thread>

#include "log/Logger.h"
#include "service/CSignals.h"
#include "service/CSilentClient.h"
#include "service/PipeCommunication.h"

namespace Hesperd {

namespace {

// A frame is read in pieces of this size; a call takes several where more is wanted.
constexpr std::size_t READ_PIECE = 512;
constexpr std::size_t READ_PIECES = 128;
// The memory that a frame of this size takes is worth giving back.
constexpr std::uint64_t LARGE_FRAME = 64U << 10;
// With this much to come, the rest of a frame is asked for so often before its thread sleeps: in a row, and in all.
constexpr std::size_t LARGE_REST = 4096;
constexpr int YIELDS_FOR_MORE = 200;
constexpr int YIELDS_FOR_FRAME = 2000;

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

// The length and the bytes, in one call as far as they go: a client that waits is woken once.
bool WriteReply(int socket, std::uint32_t length, const unsigned char* bytes) {
    std::array<iovec, 2> parts{{{&length, sizeof length}, {const_cast<unsigned char*>(bytes), length}}};
    while (parts[0].iov_len + parts[1].iov_len != 0) {
        const ssize_t count = writev(socket, parts.data(), parts.size());
        if (count < 0) {
            return false;
        }
        auto written = static_cast<std::size_t>(count);
        for (iovec& part : parts) {
            const std::size_t ofPart = std::min(written, part.iov_len);
            part.iov_base = static_cast<unsigned char*>(part.iov_base) + ofPart;
            part.iov_len -= ofPart;
            written -= ofPart;
        }
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

// Reads to `bytes + received` until there are `total` bytes, or more, as far as there is room. Stops at the end of
// file. Negative on failure.
ssize_t ReadUpTo(int socket, unsigned char* bytes, std::size_t& received, std::size_t total, std::size_t room) {
    ssize_t count = 1;
    int yields = 0;
    int yieldsForFrame = 0;
    while (count > 0 && received < total) {
        // The rest of a large frame is on its way: to sleep and be woken for each part costs more than to ask again,
        // but not where the client is in no hurry.
        const bool asksAgain =
            total - received >= LARGE_REST && yields < YIELDS_FOR_MORE && yieldsForFrame < YIELDS_FOR_FRAME;
        count = ReadPieces(socket, bytes + received, room - received, !asksAgain);
        if (count > 0) {
            received += static_cast<std::size_t>(count);
            yields = 0;
        } else if (asksAgain && count < 0 && errno == EAGAIN) {
            ++yields;
            ++yieldsForFrame;
            std::this_thread::yield();
            count = 1;
        }
    }
    return count;
}

// Reads one frame, runs it and writes the reply.
void RunTransaction(int socket) {
    constexpr std::size_t headerSize = _tagTPipeTransact::HEADER_SIZE;
    CFrameMemory memory;
    std::memset(memory.Bytes(), 0, headerSize);
    std::size_t received = 0;
    std::optional<CSilentClient> silent(std::in_place, socket);
    // The header comes with what is there behind it: most frames come in one call.
    const ssize_t count = ReadUpTo(socket, memory.Bytes(), received, headerSize, memory.Room());
    silent.reset();
    if (count < 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "Read socket failed (client terminated): %d", errno);
        return;
    }
    const std::uint64_t cbData = _tagTPipeTransact{memory.Bytes()}.cbData();
    const bool isFrame = received >= headerSize && cbData >= headerSize && cbData <= _tagTPipeTransact::MAX_SIZE;
    // What a client sends behind its frame is not looked at.
    received = std::min<std::uint64_t>(received, isFrame ? cbData : headerSize);

    if (isFrame) {
        if (!memory.Grow(cbData, received)) {
            return;
        }
        if (cbData >= LARGE_FRAME) {
            PipeCommunication::NoteBusy();
        }
        if (ReadUpTo(socket, memory.Bytes(), received, cbData, cbData) < 0) {
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
    } catch (const std::exception&) { // told below, to this client only
    }
    if (result != OBJ_E_NOERR) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "PipeCommunication: ExtractPipeTransactionPackage failed: %ld",
                          static_cast<long>(static_cast<std::int32_t>(result)));
        return;
    }
    MakeRoom(socket, replyLength);
    if (!WriteReply(socket, replyLength, memory.Bytes() + replyOffset)) {
        const int error = errno;
        CSignals::LogSignals();
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "Write socket failed (client terminated): %d", error);
    }
}

} // namespace

void PipeCommunication::HandleRequest(int socket) {
    RunTransaction(socket);
    if (close(socket) != 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "Close socket failed: %d", errno);
    }
}

} // namespace Hesperd
