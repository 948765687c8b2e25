// load: transactions a second of the service and of the yardstick, in one run.
//
// A run is a row of short slices that go to the two servers in turn (one pair service first, the next pair yardstick
// first), so that whatever else the machine does meets both alike. Each pair gives one ratio; what is shown is their
// median with its quartiles. A reply that is not byte for byte the expected one ends the run.
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include <CLI/CLI.hpp>
#include <sys/socket.h>
#include <unistd.h>

#include "Transaction.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
    std::string service = "/tmp/MDP0";
    std::string yardstick;
    std::vector<unsigned> clients = {1, 8, 64};
    unsigned pairs = 40;
    unsigned sliceMilliseconds = 150;
    double minimum = 0;
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

// Runs the clients against one server; the start of the slice, while they get going, does not count.
double TransactionsPerSecond(const std::string& path, unsigned clients, std::chrono::milliseconds slice) {
    struct alignas(64) Counter {
        std::atomic<std::uint64_t> value{0};
    };

    const sockaddr_un address = Bench::SocketAddress(path.c_str());
    const auto counters = std::make_unique<Counter[]>(clients);
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < clients; ++i) {
        threads.emplace_back([&, i] {
            while (!stop.load(std::memory_order_relaxed)) {
                if (!Transact(address)) {
                    std::fprintf(stderr, "load: %s does not give the expected reply\n", path.c_str());
                    std::_Exit(1);
                }
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
    return static_cast<double>(last - first) / seconds.count();
}

double Quantile(std::vector<double> values, double q) {
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(q * static_cast<double>(values.size() - 1) + 0.5)];
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app{"Transactions a second of the service against a bare server, in one run"};
    app.add_option("--service", options.service, "socket of the service")->capture_default_str();
    app.add_option("--yardstick", options.yardstick, "socket of the yardstick")->required();
    app.add_option("--clients", options.clients, "numbers of clients at once")->capture_default_str()->delimiter(',');
    app.add_option("--pairs", options.pairs, "pairs of slices for each number of clients")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    app.add_option("--slice", options.sliceMilliseconds, "length of a slice in milliseconds")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    app.add_option("--minimum", options.minimum, "end with status 1 when a median ratio is below this");
    CLI11_PARSE(app, argc, argv);

    const std::chrono::milliseconds slice{options.sliceMilliseconds};
    bool enough = true;
    std::printf("%8s  %12s  %12s  %6s  %s\n", "clients", "service /s", "yardstick /s", "ratio", "quartiles (range)");
    for (const unsigned clients : options.clients) {
        std::vector<double> service;
        std::vector<double> yardstick;
        std::vector<double> ratios;
        for (unsigned pair = 0; pair < options.pairs; ++pair) {
            if (pair % 2 == 0) {
                service.push_back(TransactionsPerSecond(options.service, clients, slice));
                yardstick.push_back(TransactionsPerSecond(options.yardstick, clients, slice));
            } else {
                yardstick.push_back(TransactionsPerSecond(options.yardstick, clients, slice));
                service.push_back(TransactionsPerSecond(options.service, clients, slice));
            }
            ratios.push_back(service.back() / yardstick.back());
        }
        const double ratio = Quantile(ratios, 0.5);
        enough = enough && ratio >= options.minimum;
        std::printf("%8u  %12.0f  %12.0f  %6.3f  %.3f-%.3f (%.3f-%.3f)\n", clients, Quantile(service, 0.5),
                    Quantile(yardstick, 0.5), ratio, Quantile(ratios, 0.25), Quantile(ratios, 0.75),
                    Quantile(ratios, 0), Quantile(ratios, 1));
        std::fflush(stdout);
    }
    return enough ? 0 : 1;
}
