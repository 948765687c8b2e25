#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <sys/types.h>

// The real service, started in the foreground for the length of a test. The test has to run in the throw-away machine.
class ServiceProcess {
public:
    static constexpr const char* s_socket = "/tmp/MDP0";

    // Starts the program with "-nofork" and waits until its socket takes connections. Throws std::runtime_error where
    // the test does not run in the machine or the service does not come up.
    explicit ServiceProcess(const std::string& program);
    ~ServiceProcess();
    ServiceProcess(const ServiceProcess&) = delete;
    ServiceProcess& operator=(const ServiceProcess&) = delete;

    pid_t Pid() const { return m_pid; }

    bool IsRunning();
    // Bytes of memory that the service has resident.
    std::size_t ResidentBytes() const;
    // Asks it to end, waits for that and returns the status of waitpid.
    int Stop();

private:
    pid_t m_pid = -1;
    int m_status = 0;
};

// What a client of one connection does to the service, and what it sees.
struct ClientOptions {
    bool endsWriting = false; // shuts its side down after the bytes
    bool vanishes = false;    // closes without reading
};

// Connects, writes the bytes and reads until the service closes. Throws std::runtime_error where the service cannot be
// reached, or neither answers nor closes within a minute.
std::vector<std::uint8_t> Transact(const std::vector<std::uint8_t>& bytes, ClientOptions options = {});
