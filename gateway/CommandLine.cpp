#include "CommandLine.h"

#include <charconv>
#include <optional>

#include <CLI/CLI.hpp>

#include "Metrics.h"
#include "mdp/Client.h"

// The one place that knows the library for command lines, whose header is heavy.

namespace Gateway {
namespace {

constexpr int s_usage = 2;

// "ADDRESS:PORT" or "[ADDRESS]:PORT"; a text that says what is wrong, or an empty one.
std::string TakeListen(const std::string& text, HttpOptions& http) {
    const std::size_t colon = text.rfind(':');
    std::string address = text.substr(0, colon);
    if (address.starts_with('[') && address.ends_with(']')) {
        address = address.substr(1, address.size() - 2);
    }
    const char* const end = text.data() + text.size();
    const char* const digits = colon == std::string::npos ? end : text.data() + colon + 1;
    const auto [parsed, error] = std::from_chars(digits, end, http.port);
    if (address.empty() || error != std::errc() || parsed != end) {
        return "--listen takes ADDRESS:PORT, such as 192.168.10.20:8443 or [::1]:8088";
    }
    http.address = address;
    return {};
}

// What must not be started by mistake.
std::string Check(const Configuration& configuration, bool allowPlain, bool allowAnyone) {
    const HttpOptions& http = configuration.http;
    if (http.certificate.empty() != http.key.empty()) {
        return "--certificate and --key belong together";
    }
    if (IsLoopback(http.address)) {
        return {};
    }
    if (http.certificate.empty() && !allowPlain) {
        return "everybody on the network could read along at " + http.address +
               ": give --certificate and --key, or say --allow-plain-http";
    }
    if (configuration.signIn.viewers.empty() && !allowAnyone) {
        return "everybody on the network could look at this machine at " + http.address +
               ": give --viewers GROUP, or say --allow-anyone";
    }
    return {};
}

} // namespace

int ParseCommandLine(int argc, char** argv, Configuration& configuration) {
    CLI::App app("The machine over HTTP: a page, JSON and metrics. See sylvarin-gateway(8).", "sylvarin-gateway");
    std::string listen = "127.0.0.1:8088";
    std::vector<std::string> modules;
    bool allowPlain = false;
    bool allowAnyone = false;
    HttpOptions& http = configuration.http;
    configuration.socket = Mdp::DefaultSocket;
    app.set_version_flag("--version", "sylvarin-gateway " SYLVARIN_VERSION);
    app.add_option("--listen", listen, "ADDRESS:PORT to listen on; port 0 takes a free one")->capture_default_str();
    app.add_option("--certificate", http.certificate, "PEM file with the certificate and its chain: TLS is spoken");
    app.add_option("--key", http.key, "PEM file with the certificate's key");
    app.add_flag("--allow-plain-http", allowPlain, "listen on the network without TLS");
    app.add_flag("--allow-anyone", allowAnyone, "listen on the network without --viewers");
    app.add_option("--host-name", configuration.hostNames, "a name by which browsers may call the gateway");
    app.add_option("--viewers", configuration.signIn.viewers, "the group of those who may look; all if not given");
    app.add_option("--editors", configuration.signIn.editors, "the group of those who may change; none if not given");
    app.add_option("--metrics-token", configuration.metricsTokenFile,
                   "a file with the token by which a monitoring system has the metrics without signing in");
    app.add_option("--modules", modules, "the modules that the metrics ask, such as CPU,FAN; all if not given")
        ->delimiter(',');
    app.add_flag("--all-services", configuration.allServices, "offer the services of files and accounts, too");
    app.add_option("--period", configuration.periodSeconds, "seconds between two looks at what pages show")
        ->check(CLI::Range(0.1, 3600.0))
        ->capture_default_str();
    app.add_option("--streams", configuration.streams, "open pages at once")
        ->check(CLI::Range(1U, 4096U))
        ->capture_default_str();
    app.add_option("--connections", http.connections, "connections at once")
        ->check(CLI::Range(1U, 16384U))
        ->capture_default_str();
    app.add_option("--socket", configuration.socket, "where the service listens")->capture_default_str();
    app.add_option("--data", configuration.data, "the folder of the page, instead of the installed one");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : s_usage;
    }
    std::string wrong = TakeListen(listen, http);
    if (wrong.empty()) {
        wrong = Check(configuration, allowPlain, allowAnyone);
    }
    for (const std::string& name : modules) {
        const std::uint16_t type = Metrics::ModuleTypeOf(name);
        if (type == 0) {
            wrong = "--modules: there are no metrics of modules called " + name;
        }
        configuration.modules.insert(type);
    }
    if (!wrong.empty()) {
        std::cerr << "sylvarin-gateway: " << wrong << "\n";
        return s_usage;
    }
    return -1;
}

} // namespace Gateway
