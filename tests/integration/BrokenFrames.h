#pragma once

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <utility>
#include <vector>

#include "WireClient.h"

// The frames that the fuzz target starts from too.
inline std::vector<Bytes> SeedFrames() {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(SYLVARIN_FRAME_CORPUS)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end()); // the order of a directory is not the same everywhere
    std::vector<Bytes> frames;
    for (const auto& file : files) {
        std::ifstream stream(file, std::ios::binary);
        frames.emplace_back(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
    }
    return frames;
}

// Makes one broken frame after the other; the same seed gives the same frames on every machine.
class FrameMutator {
public:
    FrameMutator(const std::vector<Bytes>& seeds, unsigned seed) : m_seeds(seeds), m_random(seed) {}

    Bytes Next() {
        if (Below(10) == 0) {
            return RandomBytes(Below(200));
        }
        Bytes frame = m_seeds[Below(static_cast<unsigned>(m_seeds.size()))];
        for (unsigned rounds = Below(4); rounds > 0; --rounds) {
            Mutate(frame);
        }
        if (Below(2) == 0) {
            MakeLengthTrue(frame);
        }
        return frame;
    }

    bool OneIn(unsigned number) { return Below(number) == 0; }

private:
    unsigned Below(unsigned limit) { return static_cast<unsigned>(m_random() % limit); }

    Bytes RandomBytes(unsigned size) {
        Bytes frame(size);
        std::generate(frame.begin(), frame.end(), [this] { return static_cast<std::uint8_t>(Below(256)); });
        return frame;
    }

    // Numbers at which lengths, offsets, indexes and commands change their meaning.
    std::uint64_t Number() {
        static constexpr std::array<std::uint64_t, 24> s_numbers = {
            0,  1,  2,  3,   4,      5,      17,     18,     23,     24,         25,         41,
            42, 43, 64, 512, 0x1000, 0x2000, 0xB000, 0xF060, 0xFFFF, 0x7FFFFFFF, 0xFFFFFFFF, 0xFFFFFFFFFFFFFFFF};
        return s_numbers[Below(s_numbers.size())];
    }

    void Put(Bytes& frame, std::size_t offset, std::uint64_t number, std::size_t width) {
        if (offset + width <= frame.size()) {
            std::memcpy(frame.data() + offset, &number, width);
        }
    }

    static void MakeLengthTrue(Bytes& frame) {
        const std::uint64_t size = frame.size();
        if (size >= sizeof size) {
            std::memcpy(frame.data(), &size, sizeof size);
        }
    }

    void Mutate(Bytes& frame) {
        // Offset and width of the fields of the header and of a record behind it.
        static constexpr std::array<std::pair<std::size_t, std::size_t>, 9> s_fields = {
            {{0, 8}, {8, 8}, {16, 8}, {24, 2}, {26, 2}, {28, 1}, {29, 1}, {30, 8}, {38, 4}}};
        switch (Below(6)) {
        case 0: { // a field with a number of note
            const auto [offset, width] = s_fields[Below(s_fields.size())];
            Put(frame, offset, Number(), width);
            break;
        }
        case 1: { // an offset anywhere in the frame or just outside it
            const auto [offset, width] = s_fields[1 + Below(2)];
            Put(frame, offset, Below(static_cast<unsigned>(frame.size()) + 4), width);
            break;
        }
        case 2: // the end missing
            frame.resize(Below(static_cast<unsigned>(frame.size()) + 1));
            break;
        case 3: { // more than there should be
            const Bytes more = RandomBytes(1 + Below(600));
            frame.insert(frame.end(), more.begin(), more.end());
            break;
        }
        case 4: // a random byte
            if (!frame.empty()) {
                frame[Below(static_cast<unsigned>(frame.size()))] = static_cast<std::uint8_t>(Below(256));
            }
            break;
        default: // a number of note anywhere
            Put(frame, Below(static_cast<unsigned>(frame.size()) + 1), Number(), std::size_t{1} << Below(4));
            break;
        }
    }

    const std::vector<Bytes>& m_seeds;
    std::mt19937_64 m_random;
};

// Whether the service need not wait for more of it.
inline bool IsWholeFrame(const Bytes& frame) {
    std::uint64_t claimed = 0;
    if (frame.size() < 24) {
        return false;
    }
    std::memcpy(&claimed, frame.data(), sizeof claimed);
    return claimed <= frame.size();
}

inline bool IsWholeReply(const Bytes& reply) {
    std::uint32_t length = 0;
    if (reply.size() < sizeof length) {
        return reply.empty();
    }
    std::memcpy(&length, reply.data(), sizeof length);
    return reply.size() - sizeof length == length;
}

// Sends the frame; a client that vanishes does not wait for the answer.
inline Bytes SendBroken(const Bytes& frame, bool endsSending, bool vanishes) {
    WireClient client;
    client.TrySend(frame);
    if (endsSending) {
        client.EndSending();
    }
    return vanishes ? Bytes{} : client.ReceiveAll();
}
