// load: transactions a second of the service and of the yardsticks that are named, in one run.
//
// A run is a row of short slices that go to the servers in turn, each time beginning with another one, so that whatever
// else the machine does meets all alike. Each round gives the service's ratios; what is shown is their median with its
// quartiles. A reply that is not byte for byte the expected one ends the run.
//
// With the process numbers of the servers it also tells the processor time that each takes for a transaction, which
// other load on the machine touches less.
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include <CLI/CLI.hpp>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include "Transaction.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
    unsigned rounds = 40;
    unsigned sliceMilliseconds = 100;
    double minimum = 0;
    std::vector<unsigned> clients = {1, 8, 64};
};

struct Server {
    std::string name;
    std::string socket;
    pid_t pid = 0; // 0: not known
    // What has been measured at the present number of clients.
    std::vector<double> rates = {}; // transactions a second, one a slice
    std::uint64_t transactions = 0; // of all slices
    double processorSeconds = 0;
    std::vector<float> times = {}; // of single transactions, in microseconds
};

bool Transact(const sockaddr_un& address) {
    const int s = socket(AF_UNIX, SOCK_STREAM, 0);
    if (s < 0) {
        return false;
    }
    std::array<std::uint8_t, Bench::s_readReply.size()> reply;
    std::size_t received = 0;
    if (connect(s, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        write(s, Bench::s_readRequest.data(), Bench::s_readRequest.size()) ==
            static_cast<ssize_t>(Bench::s_readRequest.size())) {
        while (received < reply.size()) {
            const ssize_t got = read(s, reply.data() + received, reply.size() - received);
            if (got <= 0) {
                break;
            }
            received += static_cast<std::size_t>(got);
        }
    }
    close(s);
    return received == reply.size() && reply == Bench::s_readReply;
}

// Processor time of all threads of a process so far, in seconds.
double ProcessorSeconds(pid_t pid) {
    clockid_t clock{};
    timespec time{};
    if (pid == 0 || clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &time) != 0) {
        return 0;
    }
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// Runs the clients against one server; the start of the slice, while they get going, does not count for the rate.
void RunSlice(Server& server, unsigned clients, std::chrono::milliseconds slice) {
    struct alignas(64) Counter {
        std::atomic<std::uint64_t> value{0};
    };

    const sockaddr_un address = Bench::SocketAddress(server.socket.c_str());
    const auto counters = std::make_unique<Counter[]>(clients);
    std::vector<std::vector<float>> times(clients);
    std::atomic<bool> stop{false};
    const double before = ProcessorSeconds(server.pid);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < clients; ++i) {
        threads.emplace_back([&, i] {
            while (!stop.load(std::memory_order_relaxed)) {
                const auto begin = Clock::now();
                if (!Transact(address)) {
                    std::fprintf(stderr, "load: %s does not give the expected reply\n", server.socket.c_str());
                    std::_Exit(1);
                }
                times[i].push_back(std::chrono::duration<float, std::micro>(Clock::now() - begin).count());
                counters[i].value.fetch_add(1, std::memory_order_relaxed);
            }
        });
    }
    const auto sum = [&] {
        return std::accumulate(counters.get(), counters.get() + clients, std::uint64_t{0},
                               [](std::uint64_t total, const Counter& c) { return total + c.value.load(); });
    };
    std::this_thread::sleep_for(slice / 5);
    const std::uint64_t first = sum();
    const auto start = Clock::now();
    std::this_thread::sleep_for(slice);
    const std::uint64_t last = sum();
    const std::chrono::duration<double> seconds = Clock::now() - start;
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    server.rates.push_back(static_cast<double>(last - first) / seconds.count());
    for (const std::vector<float>& ofClient : times) {
        server.times.insert(server.times.end(), ofClient.begin(), ofClient.end());
    }
    server.transactions += sum();
    server.processorSeconds += ProcessorSeconds(server.pid) - before;
}

template <typename T>
T Quantile(std::vector<T> values, double q) {
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(std::lround(q * static_cast<double>(values.size() - 1)))];
}

// Measures at one number of clients and prints a row for each server. Returns the lowest median ratio of the service.
double MeasureRows(std::vector<Server>& servers, unsigned clients, const Options& options) {
    for (Server& server : servers) {
        server.rates.clear();
        server.times.clear();
        server.transactions = 0;
        server.processorSeconds = 0;
    }
    for (unsigned round = 0; round < options.rounds; ++round) {
        for (std::size_t i = 0; i < servers.size(); ++i) {
            RunSlice(servers[(round + i) % servers.size()], clients,
                     std::chrono::milliseconds(options.sliceMilliseconds));
        }
    }
    double lowest = 1e9;
    for (const Server& server : servers) {
        std::vector<double> ratios;
        for (std::size_t i = 0; i < server.rates.size(); ++i) {
            ratios.push_back(servers.front().rates[i] / server.rates[i]);
        }
        const double ratio = Quantile(ratios, 0.5);
        lowest = std::min(lowest, ratio);
        std::printf("%7u  %-22s  %8.0f  %6.3f  %5.3f to %5.3f  %8.0f  %10.1f\n", clients, server.name.c_str(),
                    Quantile(server.rates, 0.5), ratio, Quantile(ratios, 0.25), Quantile(ratios, 0.75),
                    static_cast<double>(Quantile(server.times, 0.99)),
                    server.processorSeconds * 1e6 / static_cast<double>(server.transactions));
    }
    std::fflush(stdout);
    return lowest;
}

int Run(int argc, char** argv) {
    Options options;
    std::vector<Server> servers = {{"service", "/tmp/MDP0"}, {"a thread a connection", ""}, {"threads that stay", ""}};
    CLI::App app{"Transactions a second of the service against bare servers, in one run"};
    app.add_option("--service", servers[0].socket, "socket of the service")->capture_default_str();
    app.add_option("--yardstick", servers[1].socket, "socket of the yardstick");
    app.add_option("--staying", servers[2].socket, "socket of the yardstick whose threads stay");
    app.add_option("--service-pid", servers[0].pid, "process of the service");
    app.add_option("--yardstick-pid", servers[1].pid, "process of the yardstick");
    app.add_option("--staying-pid", servers[2].pid, "process of the yardstick whose threads stay");
    app.add_option("--clients", options.clients, "numbers of clients at once")->capture_default_str()->delimiter(',');
    app.add_option("--rounds", options.rounds, "rounds of slices for each number of clients")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    app.add_option("--slice", options.sliceMilliseconds, "length of a slice in milliseconds")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    app.add_option("--minimum", options.minimum, "end with status 1 when a median ratio is below this");
    CLI11_PARSE(app, argc, argv);
    std::erase_if(servers, [](const Server& server) { return server.socket.empty(); });

    std::printf("%7s  %-22s  %8s  %6s  %14s  %8s  %10s\n", "clients", "server", "per s", "ratio", "quartiles", "p99 us",
                "CPU us");
    bool enough = true;
    for (const unsigned clients : options.clients) {
        enough = MeasureRows(servers, clients, options) >= options.minimum && enough;
    }
    return enough ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return Run(argc, argv);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "load: %s\n", failure.what());
        return 1;
    }
}
