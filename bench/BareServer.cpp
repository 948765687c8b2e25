#include "BareServer.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <sys/uio.h>
#include <unistd.h>

#include "Transaction.h"

namespace {

constexpr std::uint64_t s_largestFrame = 65536;

} // namespace

void Bench::Answer(int socket, Style style) {
    std::uint8_t header[s_headerSize] = {};
    ssize_t got = read(socket, header, sizeof header);
    std::uint64_t cbData = 0;
    std::memcpy(&cbData, header, sizeof cbData);
    if (got == static_cast<ssize_t>(sizeof header) && cbData >= s_readRequest.size() && cbData <= s_largestFrame) {
        auto* frame = static_cast<std::uint8_t*>(std::calloc(1, cbData));
        std::memcpy(frame, header, sizeof header);
        std::size_t received = sizeof header;
        do {
            got = read(socket, frame + received, std::min<std::size_t>(s_chunkSize, cbData - received));
            received += got > 0 ? static_cast<std::size_t>(got) : 0;
        } while (got > 0 && received < cbData);

        constexpr std::size_t lengthSize = sizeof(std::uint32_t);
        constexpr std::size_t answerSize = s_readReply.size() - lengthSize;
        std::memcpy(frame + s_headerSize, s_readReply.data() + lengthSize, answerSize);
        if (style == Style::InOneWrite) {
            auto* length = const_cast<std::uint8_t*>(s_readReply.data());
            const std::array<iovec, 2> parts{{{length, lengthSize}, {frame + s_headerSize, answerSize}}};
            (void)!writev(socket, parts.data(), parts.size());
        } else if (write(socket, s_readReply.data(), lengthSize) > 0 &&
                   write(socket, frame + s_headerSize, answerSize) > 0) {
            (void)!read(socket, header, 0);
        }
        std::free(frame);
    }
    close(socket);
}
