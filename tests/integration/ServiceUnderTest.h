#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

// How a service is started. A variable that the environment names replaces this process's own.
struct ServiceStart {
    std::vector<std::string> arguments = {"-nof"}; // behind argv[0]
    std::string argv0 = "sylvarin";
    std::vector<std::string> environment = {}; // "NAME=value"
};

// How a process ended.
struct Ending {
    bool ended = false; // false: it still ran at the end of the time limit
    int exitStatus = -1;
    int signal = 0; // not 0: a signal ended it
};

// What a process holds. A connection takes a thread and a descriptor.
struct Usage {
    std::size_t threads = 0;
    std::size_t descriptors = 0;

    bool operator==(const Usage&) const = default;
};

// A process of the service in the machine: the one that was launched, or the daemon that it left behind. It is ended at
// the latest by the destructor. Not for use from several threads, but for Pid and Signal.
class ServiceUnderTest {
public:
    static constexpr const char* PidFile = "/var/run/Sylvarin.pid";
    static constexpr std::chrono::seconds TimeLimit{60};

    // Launches the service of this build tree and returns at once.
    explicit ServiceUnderTest(const ServiceStart& start = {});
    // Takes over a daemon by its process number. This process must be its reaper, see main.
    explicit ServiceUnderTest(pid_t daemon);
    ~ServiceUnderTest();
    ServiceUnderTest(const ServiceUnderTest&) = delete;
    ServiceUnderTest& operator=(const ServiceUnderTest&) = delete;

    pid_t Pid() const { return m_pid; }

    bool IsRunning() const;
    // Waits until the service answers on its socket. False if it ended instead, or after the time limit.
    bool WaitUntilAnswering() const;
    void Signal(int number) const;
    Ending WaitForEnd(std::chrono::milliseconds limit = TimeLimit);
    // SIGTERM, then the wait for the end.
    Ending Stop();

    // Of the running process, from /proc.
    Usage CurrentUsage() const;
    std::size_t ResidentKiB() const;
    // Waits until what the process holds no longer changes: a thread lives a little longer than its client's
    // transaction.
    Usage WaitUntilSteady() const;
    // Waits until the process holds no more than that.
    bool WaitForUsage(const Usage& most) const;

    // What it wrote to standard output and standard error.
    std::string Output() const;

    // What the sanitizers of all services of this machine have found, empty if nothing.
    static std::string SanitizerReports();

private:
    bool WaitOnProcess(std::chrono::milliseconds limit) const;

    pid_t m_pid = -1;
    int m_processDescriptor = -1;
    std::string m_outputPath;
    Ending m_ending;
};
