#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// HTTP, as the rest of the gateway sees it. Http.cpp alone knows the library that speaks it.

namespace Gateway {

/// Who asks.
struct Peer {
    std::string address;   ///< without the port
    bool loopback = false; ///< from this machine
    bool tls = false;

    /// Nobody else can read along.
    bool Private() const { return loopback || tls; }
};

struct HttpRequest {
    std::string method;
    std::string path; ///< decoded, without the query
    std::vector<std::pair<std::string, std::string>> query;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    Peer peer;

    /// Empty where there is none. Names of headers are compared without case.
    std::string Header(std::string_view name) const;
    std::size_t CountOf(std::string_view header) const;
    std::optional<std::string> Query(std::string_view name) const;
    /// The value of a cookie, empty where there is none.
    std::string Cookie(std::string_view name) const;
};

/// What a response that goes on is written to.
class HttpSink {
public:
    virtual ~HttpSink() = default;
    /// False once the client has gone; it is cut off if it does not take what is written.
    virtual bool Write(std::string_view text) = 0;
    virtual bool ClientIsThere() const = 0;
};

struct HttpResponse {
    int status = 200;
    std::string contentType;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    /// In the place of a body: writes until it returns, in the thread of the connection.
    std::function<void(HttpSink&)> stream;
};

/// Answers a request. Called by many threads at once.
using HttpHandler = std::function<HttpResponse(const HttpRequest&)>;

struct HttpOptions {
    std::string address = "127.0.0.1";
    std::uint16_t port = 0;               ///< 0 takes a free one
    std::string certificate;              ///< PEM file with the chain; with it, and only with it, TLS is spoken
    std::string key;                      ///< PEM file
    unsigned connections = 512;           ///< more at once are refused
    unsigned connectionsOfOne = 128;      ///< the same from one address other than this machine's own
    unsigned requestSeconds = 10;         ///< for a whole request to arrive, and for a TLS handshake
    unsigned idleSeconds = 15;            ///< how long a connection may wait for its next request
    unsigned writeSeconds = 10;           ///< for a client to take what was written
    std::size_t requestBytes = 64U << 10; ///< a whole request, with its head
};

/// A server. Everything but Stop belongs to one thread.
class HttpServer {
public:
    /// The handler is called from before Run until Run has returned.
    HttpServer(HttpOptions options, HttpHandler handler);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// Binds the address. The text says what is wrong; it is empty if nothing is.
    std::string Listen();

    /// The port that is listened on.
    std::uint16_t Port() const { return m_port; }

    /// Serves until Stop, and until every connection has ended.
    void Run();

    /// Ends Run, from another thread. Streams end when their functions return.
    void Stop();

    /// What the server answers to these bytes of a client that then closes, without any socket.
    std::string AnswerTo(std::string_view bytes);

private:
    class Implementation;

    HttpOptions m_options;
    std::unique_ptr<Implementation> m_implementation;
    std::uint16_t m_port = 0;
};

/// True for 127.0.0.0/8 and ::1, and for the former written as IPv6.
bool IsLoopback(std::string_view address);

} // namespace Gateway
