#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// A service played by the test: it listens in a directory of its own, takes whole frames and does with each what the
// test says. It shares no code with the client.

using TestBytes = std::vector<std::uint8_t>;

// Bytes written out in hexadecimal digits; blanks and line ends between them do not count.
TestBytes Hex(const std::string& digits);

// What the service sends after a frame, exactly, before it closes the connection.
struct FakeReply {
    TestBytes bytes;
    bool holdOpen = false; // does not close before the test ends
};

// A reply as the service makes it: the length of the body in four bytes, then the body.
FakeReply Reply(const TestBytes& body);

// The connection closes without a byte.
inline FakeReply NoReply() {
    return {};
}

class FakeService {
public:
    using Handler = std::function<FakeReply(const TestBytes& frame)>;

    explicit FakeService(Handler handler);
    // The replies to the first, second, ... frame; connections beyond them are closed without one.
    explicit FakeService(std::vector<FakeReply> script);
    ~FakeService();
    FakeService(const FakeService&) = delete;
    FakeService& operator=(const FakeService&) = delete;

    const std::string& Path() const { return m_path; }

    // The frames received so far.
    std::vector<TestBytes> Frames() const;

private:
    void Serve();
    void ServeConnection(int connection);

    std::string m_directory;
    std::string m_path;
    Handler m_handler;
    int m_listener = -1;
    std::atomic<bool> m_ending = false;
    mutable std::mutex m_mutex;
    std::vector<TestBytes> m_frames;
    std::vector<int> m_held;
    std::thread m_thread;
};
