#include <pthread.h>
#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <thread>

#include "Api.h"
#include "CommandLine.h"
#include "Log.h"
#include "ProgramFolder.h"

namespace {

using Gateway::Configuration;

int Fail(const std::string& what) {
    std::fprintf(stderr, "sylvarin-gateway: %s\n", what.c_str());
    Gateway::Log(Gateway::LogKind::Error, what);
    return 1;
}

// Signals that end the gateway reach one thread that waits for them, and no other one.
sigset_t BlockEndingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&signals, number);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    return signals;
}

std::string WithoutLineEnd(std::string text) {
    text.erase(text.find_last_not_of("\r\n") + 1);
    return text;
}

// What a connection may take is also what a look at the machine may take.
Mdp::ClientOptions ClientOptions(const Configuration& configuration) {
    Mdp::ClientOptions options;
    options.socketPath = configuration.socket;
    options.timeout = Mdp::Milliseconds(10000);
    options.maximumCapacity = 4U << 20;
    return options;
}

int Run(const Configuration& configuration) {
    const sigset_t signals = BlockEndingSignals();
    const std::string folder =
        configuration.data.empty() ? Gateway::ProgramFolder() + "/../share/sylvarin" : configuration.data;

    Gateway::Api::Settings settings;
    settings.hostNames = configuration.hostNames;
    settings.allServices = configuration.allServices;
    settings.description = Gateway::ReadFile(folder + "/openapi.yaml").value_or("");
    const auto period = std::chrono::milliseconds(static_cast<long long>(configuration.periodSeconds * 1000));
    settings.maxAge = period / 2;
    if (!configuration.metricsTokenFile.empty()) {
        settings.metricsToken = WithoutLineEnd(Gateway::ReadFile(configuration.metricsTokenFile).value_or(""));
        if (settings.metricsToken.empty()) {
            return Fail("the file " + configuration.metricsTokenFile + " holds no token");
        }
    }

    Gateway::Dictionary dictionary(ClientOptions(configuration));
    Gateway::Events::Options eventsOptions;
    eventsOptions.period = period;
    eventsOptions.streams = configuration.streams;
    Gateway::Events events(dictionary, eventsOptions);
    Gateway::Metrics metrics(dictionary, configuration.modules, settings.maxAge);
    Gateway::SignIn signIn(configuration.signIn, Gateway::CheckPassword, Gateway::IsInGroup);
    Gateway::Api api(dictionary, events, metrics, signIn, Gateway::Files(folder + "/gateway"), settings);
    Gateway::HttpServer server(configuration.http,
                               [&](const Gateway::HttpRequest& request) { return api.Answer(request); });
    if (const std::string wrong = server.Listen(); !wrong.empty()) {
        return Fail(wrong);
    }
    std::thread ending([&] {
        int number = 0;
        sigwait(&signals, &number);
        events.Stop();
        server.Stop();
    });
    const bool isIpv6 = configuration.http.address.find(':') != std::string::npos;
    std::printf("%s://%s%s%s:%u/\n", configuration.http.certificate.empty() ? "http" : "https", isIpv6 ? "[" : "",
                configuration.http.address.c_str(), isIpv6 ? "]" : "", server.Port());
    std::fflush(stdout);
    server.Run();
    kill(getpid(), SIGTERM); // for the thread that waits, should something else have ended the server
    ending.join();
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    openlog("sylvarin-gateway", LOG_PID, LOG_AUTH);
    Configuration configuration;
    const int status = Gateway::ParseCommandLine(argc, argv, configuration);
    return status >= 0 ? status : Run(configuration);
}
