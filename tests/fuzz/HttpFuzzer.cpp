// What a client of the gateway sends on one connection: requests, through the server's own parsing, to everything that
// answers behind it, at a machine that a thread here plays.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>

#include "Api.h"
#include "FakeDictionary.h"
#include "Require.h"

namespace {

constexpr std::size_t s_lengthSize = 8;

// Answers one frame a connection.
class CStandIn {
public:
    CStandIn() {
        m_machine.objects[0x1008] = {7, "", {{9, "rw", "Device name", Text("IPC")}}};
        m_machine.AddModule(0, 11, "CPU", "CPU0");
        m_machine.objects[0x8001] = {9,
                                     "Values",
                                     {CountEntry(3),
                                      {7, "rw", "Frequency", Number(2000, 4)},
                                      {1, "rw", "Flag", {1}},
                                      {9, "rw", "Text", Text("text")}}};
        m_machine.serve = [](std::uint16_t, const TestBytes& request) { return FakeResponse{1, request}; };
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, m_path.c_str(), m_path.size());
        unlink(m_path.c_str());
        m_listener = socket(AF_UNIX, SOCK_STREAM, 0);
        Require(bind(m_listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
                    listen(m_listener, 16) == 0,
                "the stand-in for the service cannot listen");
        std::thread([this] { Serve(); }).detach();
    }

    const std::string& Path() const { return m_path; }

private:
    void Serve() {
        for (;;) {
            const int connection = accept(m_listener, nullptr, nullptr);
            TestBytes frame(s_lengthSize);
            if (Receive(connection, frame, 0)) {
                std::uint64_t length = 0;
                std::memcpy(&length, frame.data(), sizeof length);
                frame.resize(length);
                if (Receive(connection, frame, s_lengthSize)) {
                    m_machine.writes.clear();
                    const FakeReply reply = m_machine.Answer(frame);
                    [[maybe_unused]] const ssize_t sent =
                        send(connection, reply.bytes.data(), reply.bytes.size(), MSG_NOSIGNAL);
                }
            }
            close(connection);
        }
    }

    static bool Receive(int connection, TestBytes& frame, std::size_t from) {
        while (from < frame.size()) {
            const ssize_t got = recv(connection, frame.data() + from, frame.size() - from, 0);
            if (got <= 0) {
                return false;
            }
            from += static_cast<std::size_t>(got);
        }
        return true;
    }

    std::string m_path = "/tmp/http-fuzzer-" + std::to_string(getpid());
    FakeDictionary m_machine;
    int m_listener = -1;
};

Mdp::ClientOptions OptionsFor(const CStandIn& service) {
    Mdp::ClientOptions options;
    options.socketPath = service.Path();
    return options;
}

// The gateway without its sockets. Nothing streams, so that every answer has an end.
struct CGateway {
    CStandIn service;
    Gateway::Dictionary dictionary{OptionsFor(service)};
    Gateway::Events events{dictionary, {.period = std::chrono::hours(1), .streams = 0, .subjects = 0}};
    Gateway::Metrics metrics{dictionary, {}, std::chrono::milliseconds(500)};
    Gateway::SignIn signIn{{"", "editors"},
                           [](const std::string&, const std::string& password) { return password == "secret"; },
                           [](const std::string& user, const std::string&) { return user == "a"; }};
    Gateway::Api api{dictionary, events, metrics, signIn, Gateway::Files("/nowhere"), {}};
    Gateway::HttpServer server{{}, [this](const Gateway::HttpRequest& request) {
                                   Gateway::HttpResponse response = api.Answer(request);
                                   Require(response.status >= 200 && response.status < 600, "a status that is none");
                                   Require(response.body.empty() || !response.contentType.empty(), "a body of no type");
                                   return response;
                               }};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static CGateway& gateway = *new CGateway; // its threads go on until the end
    const std::string answer = gateway.server.AnswerTo({reinterpret_cast<const char*>(data), size});
    Require(answer.empty() || answer.starts_with("HTTP/1.1 "), "an answer that is no HTTP");
    return 0;
}
