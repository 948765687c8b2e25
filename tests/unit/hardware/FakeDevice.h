#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// Stands in for the host's hardware access device: linked instead of it, so that a test says what it answers. Any
// thread may ask it.
struct FakeDevice {
    struct TRequest {
        std::uint32_t group;
        std::uint32_t offset;
        std::string in;

        bool operator==(const TRequest&) const = default;
    };

    // A device that is there and supports nothing.
    static void Reset();

    // What opening fails with; 0 lets it succeed.
    static void FailOpen(int error);
    // Where the descriptor that is handed out points to; -1 for one of its own.
    static void HandOut(int descriptor);

    // The bytes of the answer, or what the request fails with. The last word counts.
    static void Answer(std::uint32_t group, std::uint32_t offset, const std::string& bytes);
    static void Fail(std::uint32_t group, std::uint32_t offset, int error);
    // A sensor; the count follows the highest index.
    static void AddSensor(std::uint32_t index, std::uint32_t probe, std::uint32_t location, std::int32_t reading,
                          const std::string& description, std::int32_t reference = 0);
    // Runs before each request, outside of the lock.
    static void BeforeEach(std::function<void(std::uint32_t group, std::uint32_t offset)> action);

    // What was asked since the last call, in order.
    static std::vector<TRequest> TakeRequests();
    // How often it was opened.
    static int Opens();
};

// A number as the driver tells it: the lowest byte first.
std::string LittleEndian(std::uint64_t number, std::size_t width);
