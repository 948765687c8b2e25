#include "Http.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <future>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Gateway {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

// Tells the request back.
HttpResponse Echo(const HttpRequest& request) {
    HttpResponse response;
    response.contentType = "text/plain";
    response.body = request.method + " " + request.path + " " + request.body;
    return response;
}

std::string AnswerTo(const std::string& bytes) {
    HttpServer server({}, Echo);
    return server.AnswerTo(bytes);
}

TEST(HttpTest, AnswersOneRequestAfterTheOther) {
    const std::string answer = AnswerTo("GET /a%20b?x=1 HTTP/1.1\r\nHost: h\r\n\r\n"
                                        "PUT /c HTTP/1.1\r\nHost: h\r\nContent-Length: 3\r\n\r\nxyz");
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(answer, HasSubstr("\r\n\r\nGET /a b "));
    EXPECT_THAT(answer, EndsWith("\r\n\r\nPUT /c xyz"));
}

TEST(HttpTest, AHeadRequestHasNoBody) {
    const std::string answer = AnswerTo("HEAD /a HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_THAT(answer, HasSubstr("Content-Length: 8\r\n"));
    EXPECT_THAT(answer, EndsWith("\r\n\r\n"));
}

TEST(HttpTest, ARequestWhoseEndIsToldInAnUnusualWayIsRefusedAndTheConnectionClosed) {
    const std::string hidden = "GET /hidden HTTP/1.1\r\nHost: h\r\n\r\n";
    for (const std::string header : {"Transfer-Encoding: chunked\r\n", "Content-Length: 0\r\nContent-Length: 0\r\n",
                                     "Content-Encoding: gzip\r\nContent-Length: 0\r\n"}) {
        const std::string answer = AnswerTo("POST /a HTTP/1.1\r\nHost: h\r\n" + header + "\r\n0\r\n\r\n" + hidden);
        EXPECT_THAT(answer, StartsWith("HTTP/1.1 4")) << header;
        EXPECT_THAT(answer, HasSubstr("Connection: close\r\n")) << header;
        EXPECT_THAT(answer, Not(HasSubstr("hidden"))) << header;
    }
    const std::string answer = AnswerTo(
        "GET /a HTTP/1.1\r\nHost: h\r\nContent-Length: " + std::to_string(hidden.size()) + "\r\n\r\n" + hidden);
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 400 "));
    EXPECT_THAT(answer, Not(HasSubstr("hidden")));
}

TEST(HttpTest, RequestsHaveALimitOfSize) {
    EXPECT_THAT(AnswerTo("GET /" + std::string(600, 'a') + " HTTP/1.1\r\nHost: h\r\n\r\n"),
                StartsWith("HTTP/1.1 414 "));
    EXPECT_THAT(AnswerTo("GET /" + std::string(9000, 'a') + " HTTP/1.1\r\nHost: h\r\n\r\n"), StartsWith("HTTP/1.1 4"));
    const std::string large(70000, 'x');
    EXPECT_THAT(AnswerTo("PUT /a HTTP/1.1\r\nHost: h\r\nContent-Length: 70000\r\n\r\n" + large),
                StartsWith("HTTP/1.1 413 "));
    EXPECT_THAT(AnswerTo("GET /a HTTP/1.1\r\nX: " + large + "\r\n\r\n"), Not(HasSubstr("200")));
    std::string many = "GET /a HTTP/1.1\r\n";
    for (int i = 0; i < 20000; ++i) {
        many += "A: b\r\n";
    }
    EXPECT_THAT(AnswerTo(many + "\r\n"), Not(HasSubstr("200")));
}

TEST(HttpTest, ABodyIsNeitherUnpackedNorTakenApart) {
    const std::string answer =
        AnswerTo("POST /a HTTP/1.1\r\nHost: h\r\nContent-Type: multipart/form-data; boundary=x\r\n"
                 "Content-Length: 5\r\n\r\n--x--");
    EXPECT_THAT(answer, EndsWith("POST /a --x--"));
}

TEST(HttpTest, WhatTheServerTellsOfARequestCannotBeSent) {
    HttpServer server({}, [](const HttpRequest& request) {
        HttpResponse response;
        response.contentType = "text/plain";
        response.body = "<" + request.Header("X-Content-Type") + ">";
        return response;
    });
    EXPECT_THAT(server.AnswerTo("GET /a HTTP/1.1\r\nHost: h\r\nX-Content-Type: application/json\r\n"
                                "X-Refused-Body: 1\r\nContent-Type: text/plain\r\n\r\n"),
                EndsWith("<text/plain>"));
}

TEST(HttpTest, RubbishIsAnsweredWithAProblemOrNothing) {
    EXPECT_THAT(AnswerTo("nonsense\r\n\r\n"), StartsWith("HTTP/1.1 400 "));
    EXPECT_THAT(AnswerTo("nonsense\r\n\r\n"), HasSubstr("application/problem+json"));
    EXPECT_THAT(AnswerTo("GET"), IsEmpty());
    EXPECT_THAT(AnswerTo(std::string(1000, '\0')), Not(HasSubstr("200")));
}

TEST(HttpTest, CookiesAndQueriesAreFound) {
    HttpRequest request;
    request.headers = {{"cookie", "a=1; sylvarin=abc;b"}};
    request.query = {{"lang", "de"}, {"lang", "en"}};
    EXPECT_EQ(request.Cookie("sylvarin"), "abc");
    EXPECT_EQ(request.Cookie("a"), "1");
    EXPECT_EQ(request.Cookie("b"), "");
    EXPECT_EQ(request.Cookie("syl"), "");
    EXPECT_EQ(request.Query("lang"), "de");
    EXPECT_EQ(request.Query("none"), std::nullopt);
}

TEST(HttpTest, LoopbackIsThisMachine) {
    for (const char* address : {"127.0.0.1", "127.9.9.9", "::1", "::ffff:127.0.0.1"}) {
        EXPECT_TRUE(IsLoopback(address)) << address;
    }
    for (const char* address : {"128.0.0.1", "0.0.0.0", "::", "10.127.0.0", ""}) {
        EXPECT_FALSE(IsLoopback(address)) << address;
    }
}

// A server on a socket, and clients that do not behave.
class HttpSocketTest : public testing::Test {
protected:
    void Start(HttpOptions options, HttpHandler handler = Echo) {
        m_server = std::make_unique<HttpServer>(options, std::move(handler));
        ASSERT_EQ(m_server->Listen(), "");
        m_thread = std::thread([this] { m_server->Run(); });
    }

    void TearDown() override {
        if (m_thread.joinable()) {
            m_server->Stop();
            m_thread.join();
        }
    }

    int Connect() const {
        const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
        const timeval patience{10, 0};
        setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(m_server->Port());
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        return descriptor;
    }

    static void Send(int descriptor, const std::string& text) {
        EXPECT_EQ(send(descriptor, text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
    }

    // All up to the end of the connection.
    static std::string ReadAll(int descriptor) {
        std::string text;
        std::array<char, 4096> buffer{};
        for (ssize_t got = 0; (got = recv(descriptor, buffer.data(), buffer.size(), 0)) > 0;) {
            text.append(buffer.data(), static_cast<std::size_t>(got));
        }
        close(descriptor);
        return text;
    }

    std::unique_ptr<HttpServer> m_server;
    std::thread m_thread;
};

TEST_F(HttpSocketTest, AnswersOnASocket) {
    Start({});
    const int client = Connect();
    Send(client, "GET /a HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n");
    EXPECT_THAT(ReadAll(client), EndsWith("GET /a "));
}

TEST_F(HttpSocketTest, AClientThatSendsItsRequestTooSlowlyIsCutOff) {
    HttpOptions options;
    options.requestSeconds = 1;
    Start(options);
    const int client = Connect();
    std::thread drip([&] {
        // A byte every now and then: no single read takes long.
        for (const char byte : std::string("GET /a HTTP/1.1\r\nHost: h\r\nX: 0123456789")) {
            if (send(client, &byte, 1, MSG_NOSIGNAL) != 1) {
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    });
    std::string text;
    std::array<char, 4096> buffer{};
    for (ssize_t got = 0; (got = recv(client, buffer.data(), buffer.size(), 0)) > 0;) {
        text.append(buffer.data(), static_cast<std::size_t>(got));
    }
    drip.join();
    close(client);
    EXPECT_THAT(text, Not(HasSubstr("200 OK")));
}

TEST_F(HttpSocketTest, AConnectionWithoutARequestEnds) {
    HttpOptions options;
    options.idleSeconds = 1;
    Start(options);
    EXPECT_EQ(ReadAll(Connect()), "");
}

TEST_F(HttpSocketTest, OneConnectionTooManyIsToldSo) {
    HttpOptions options;
    options.connections = 1;
    Start(options);
    const int first = Connect();
    Send(first, "GET /a HTTP/1.1\r\nHost: h\r\n\r\n");
    char byte = 0;
    ASSERT_EQ(recv(first, &byte, 1, 0), 1); // it is being served
    EXPECT_THAT(ReadAll(Connect()), StartsWith("HTTP/1.1 503 "));
    close(first);
}

TEST_F(HttpSocketTest, AClientThatDoesNotTakeItsAnswerIsCutOff) {
    HttpOptions options;
    options.writeSeconds = 1;
    std::atomic<bool> isCut = false;
    std::promise<void> begun;
    Start(options, [&](const HttpRequest&) {
        HttpResponse response;
        response.contentType = "text/event-stream";
        response.stream = [&](HttpSink& sink) {
            begun.set_value();
            const std::string text(65536, 'x');
            while (sink.Write(text)) {
            }
            isCut = true;
        };
        return response;
    });
    const int client = Connect();
    Send(client, "GET /a HTTP/1.1\r\nHost: h\r\n\r\n");
    begun.get_future().wait();
    TearDown(); // waits for the stream to end
    EXPECT_TRUE(isCut);
    close(client);
}

TEST_F(HttpSocketTest, StopEndsConnectionsThatWait) {
    Start({});
    const int client = Connect();
    Send(client, "GET /a HTTP/1.1\r\nHost: h\r\n\r\n");
    char byte = 0;
    ASSERT_EQ(recv(client, &byte, 1, 0), 1);
    TearDown();
    ReadAll(client);
}

TEST_F(HttpSocketTest, ManyClientsMayComeAtOnce) {
    m_server = std::make_unique<HttpServer>(HttpOptions(), Echo);
    ASSERT_EQ(m_server->Listen(), ""); // and nobody takes a connection yet
    std::vector<int> clients;
    while (clients.size() < 64 && !HasFailure()) {
        clients.push_back(Connect());
    }
    for (const int client : clients) {
        close(client);
    }
}

TEST_F(HttpSocketTest, AnAddressThatIsTakenIsTold) {
    Start({});
    HttpOptions options;
    options.address = "192.0.2.1";
    HttpServer other(options, Echo);
    EXPECT_THAT(other.Listen(), HasSubstr("cannot listen on 192.0.2.1"));
    options.address = "127.0.0.1";
    options.certificate = "/nowhere";
    options.key = "/nowhere";
    HttpServer without(options, Echo);
    EXPECT_THAT(without.Listen(), StartsWith("the certificate /nowhere cannot be used"));
}

} // namespace
} // namespace Gateway
