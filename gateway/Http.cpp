#include "Http.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <thread>

#include <httplib.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

// The one place that knows the HTTP library, whose header is heavy. The library parses requests, calls back and writes
// responses; connections are our own, because it limits each single read of one in time, but not a whole request in
// time and size.

namespace Gateway {
namespace {

using Clock = std::chrono::steady_clock;

// Headers of our own, in the place of what the library is not to see.
constexpr const char* s_refusedBody = "X-Refused-Body";
constexpr const char* s_contentType = "X-Content-Type";

constexpr std::size_t s_longestPath = 512;
constexpr std::size_t s_mostRequests = 1000; // on one connection

bool EqualWithoutCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; };
        return lower(x) == lower(y);
    });
}

struct FreeContext {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};

struct FreeSession {
    void operator()(SSL* session) const { SSL_free(session); }
};

using TlsContext = std::unique_ptr<SSL_CTX, FreeContext>;
using TlsSession = std::unique_ptr<SSL, FreeSession>;

std::string TlsError(const std::string& what) {
    char reason[256] = "";
    ERR_error_string_n(ERR_peek_last_error(), reason, sizeof reason);
    ERR_clear_error();
    return what + ": " + reason;
}

// Bytes of one client. A request has its limits of time and bytes, counted from its beginning on.
class ClientStream : public httplib::Stream {
public:
    explicit ClientStream(Peer peer) : m_peer(std::move(peer)) {}

    const Peer& From() const { return m_peer; }

    void BeginRequest(std::size_t bytes) { m_bytesLeft = bytes; }

    // After this request the connection is of no further use, such as with a body that nobody reads.
    void CloseAfterwards() { m_closes = true; }

    bool Closes() const { return m_closes; }

    bool is_readable() const override { return !m_closes; }

    ssize_t read(char* to, std::size_t size) override {
        const std::size_t wanted = std::min(size, m_bytesLeft);
        const ssize_t got = wanted == 0 ? -1 : ReadSome(to, wanted);
        if (got <= 0) {
            m_closes = true;
            return -1;
        }
        m_bytesLeft -= static_cast<std::size_t>(got);
        return got;
    }

    ssize_t write(const char* from, std::size_t size) override {
        for (std::size_t done = 0; done < size;) {
            const ssize_t written = WriteSome(from + done, size - done);
            if (written <= 0) {
                m_closes = true;
                return -1;
            }
            done += static_cast<std::size_t>(written);
        }
        return static_cast<ssize_t>(size);
    }

    void get_remote_ip_and_port(std::string& ip, int& port) const override {
        ip = m_peer.address;
        port = 0;
    }

    void get_local_ip_and_port(std::string& ip, int& port) const override {
        ip.clear();
        port = 0;
    }

    socket_t socket() const override { return -1; }

protected:
    virtual ssize_t ReadSome(char* to, std::size_t size) = 0;
    virtual ssize_t WriteSome(const char* from, std::size_t size) = 0;

private:
    Peer m_peer;
    std::size_t m_bytesLeft = 0;
    bool m_closes = false;
};

// A connected socket, which belongs to it, with or without TLS.
class SocketStream : public ClientStream {
public:
    SocketStream(int descriptor, Peer peer, const HttpOptions& options, SSL_CTX* tls)
        : ClientStream(std::move(peer)), m_options(options), m_socket(descriptor) {
        if (tls != nullptr) {
            m_tls.reset(SSL_new(tls));
            SSL_set_fd(m_tls.get(), m_socket);
        }
    }

    ~SocketStream() override {
        if (m_tls != nullptr && m_isTlsUp) {
            SSL_shutdown(m_tls.get());
        }
        m_tls.reset();
        ERR_clear_error();
        ::shutdown(m_socket, SHUT_WR);
        close(m_socket);
    }

    SocketStream(const SocketStream&) = delete;
    SocketStream& operator=(const SocketStream&) = delete;

    bool Handshake() {
        if (m_tls == nullptr) {
            return true;
        }
        StartRequestTime();
        m_isTlsUp = Do([&] { return SSL_accept(m_tls.get()); }, m_readUntil) > 0;
        return m_isTlsUp;
    }

    // Waits for the first byte of a request.
    bool WaitForRequest(const std::atomic<bool>& stops) {
        const auto until = Clock::now() + std::chrono::seconds(m_options.idleSeconds);
        while (!stops && Clock::now() < until) {
            if ((m_tls != nullptr && SSL_pending(m_tls.get()) > 0) || Wait(POLLIN, Clock::now() + s_look)) {
                return !stops;
            }
        }
        return false;
    }

    void StartRequestTime() { m_readUntil = Clock::now() + std::chrono::seconds(m_options.requestSeconds); }

    bool is_writable() const override {
        if (Closes()) {
            return false;
        }
        pollfd look{m_socket, POLLIN, 0};
        if (poll(&look, 1, 0) == 0) {
            return true;
        }
        char byte = 0;
        const ssize_t seen = recv(m_socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
        return seen > 0 || (seen < 0 && (errno == EAGAIN || errno == EINTR));
    }

protected:
    ssize_t ReadSome(char* to, std::size_t size) override {
        if (m_tls != nullptr) {
            return Do([&] { return SSL_read(m_tls.get(), to, static_cast<int>(size)); }, m_readUntil);
        }
        for (;;) {
            const ssize_t got = recv(m_socket, to, size, MSG_DONTWAIT);
            if (got >= 0 || (errno != EAGAIN && errno != EINTR) || !Wait(POLLIN, m_readUntil)) {
                return got;
            }
        }
    }

    ssize_t WriteSome(const char* from, std::size_t size) override {
        const auto until = Clock::now() + std::chrono::seconds(m_options.writeSeconds);
        if (m_tls != nullptr) {
            constexpr std::size_t most = 16384;
            return Do([&] { return SSL_write(m_tls.get(), from, static_cast<int>(std::min(size, most))); }, until);
        }
        for (;;) {
            const ssize_t sent = send(m_socket, from, size, MSG_DONTWAIT | MSG_NOSIGNAL);
            if (sent >= 0 || (errno != EAGAIN && errno != EINTR) || !Wait(POLLOUT, until)) {
                return sent;
            }
        }
    }

private:
    static constexpr std::chrono::milliseconds s_look{500}; // how often a waiting connection looks for the end

    bool Wait(short events, Clock::time_point until) const {
        for (;;) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
            if (left <= 0) {
                return false;
            }
            pollfd waited{m_socket, events, 0};
            const int ready = poll(&waited, 1, static_cast<int>(left));
            if (ready > 0) {
                return true;
            }
            if (ready < 0 && errno != EINTR) {
                return false;
            }
        }
    }

    template <typename Call>
    ssize_t Do(const Call& call, Clock::time_point until) {
        for (;;) {
            ERR_clear_error();
            const int done = call();
            if (done > 0) {
                return done;
            }
            const int error = SSL_get_error(m_tls.get(), done);
            const bool waits = error == SSL_ERROR_WANT_READ || error == SSL_ERROR_WANT_WRITE;
            if (!waits || !Wait(error == SSL_ERROR_WANT_READ ? POLLIN : POLLOUT, until)) {
                m_isTlsUp = m_isTlsUp && waits;
                return -1;
            }
        }
    }

    const HttpOptions& m_options;
    int m_socket;
    TlsSession m_tls;
    bool m_isTlsUp = false;
    Clock::time_point m_readUntil;
};

// Bytes in memory.
class TextStream : public ClientStream {
public:
    explicit TextStream(std::string_view input) : ClientStream({"127.0.0.1", true, false}), m_input(input) {}

    bool HasMore() const { return !m_input.empty(); }

    const std::string& Output() const { return m_output; }

    bool is_writable() const override { return true; }

protected:
    ssize_t ReadSome(char* to, std::size_t size) override {
        const std::size_t got = m_input.copy(to, size);
        m_input.remove_prefix(got);
        return static_cast<ssize_t>(got);
    }

    ssize_t WriteSome(const char* from, std::size_t size) override {
        m_output.append(from, size);
        return static_cast<ssize_t>(size);
    }

private:
    std::string_view m_input;
    std::string m_output;
};

// A thread a connection, up to a number; what comes beyond it is told so by the thread that accepts.
class ConnectionThreads : public httplib::TaskQueue {
public:
    explicit ConnectionThreads(unsigned most) : m_most(most) {}

    // What is running in this thread has no room and should say so at once.
    static bool& IsBeyond() {
        thread_local bool isBeyond = false;
        return isBeyond;
    }

    void enqueue(std::function<void()> serve) override {
        {
            const std::lock_guard lock(m_mutex);
            if (m_count < m_most) {
                ++m_count;
                try {
                    std::thread([this, serve] {
                        serve();
                        const std::lock_guard ended(m_mutex);
                        --m_count;
                        m_ended.notify_all();
                    }).detach();
                    return;
                } catch (const std::system_error&) {
                    --m_count; // no thread is to be had now
                }
            }
        }
        IsBeyond() = true;
        serve();
        IsBeyond() = false;
    }

    void shutdown() override {
        std::unique_lock lock(m_mutex);
        m_ended.wait(lock, [&] { return m_count == 0; });
    }

private:
    const unsigned m_most;
    std::mutex m_mutex;
    std::condition_variable m_ended;
    unsigned m_count = 0;
};

class Sink : public HttpSink {
public:
    explicit Sink(httplib::DataSink& sink) : m_sink(sink) {}

    bool Write(std::string_view text) override { return m_sink.write(text.data(), text.size()); }

    bool ClientIsThere() const override { return m_sink.is_writable(); }

private:
    httplib::DataSink& m_sink;
};

constexpr const char* s_noRoom = "HTTP/1.1 503 Service Unavailable\r\nConnection: close\r\nRetry-After: 5\r\n"
                                 "Content-Length: 0\r\n\r\n";

} // namespace

bool IsLoopback(std::string_view address) {
    return address.starts_with("127.") || address == "::1" || address.starts_with("::ffff:127.");
}

std::string HttpRequest::Header(std::string_view name) const {
    for (const auto& [key, value] : headers) {
        if (EqualWithoutCase(key, name)) {
            return value;
        }
    }
    return {};
}

std::size_t HttpRequest::CountOf(std::string_view header) const {
    return static_cast<std::size_t>(std::count_if(
        headers.begin(), headers.end(), [&](const auto& pair) { return EqualWithoutCase(pair.first, header); }));
}

std::optional<std::string> HttpRequest::Query(std::string_view name) const {
    for (const auto& [key, value] : query) {
        if (key == name) {
            return value;
        }
    }
    return std::nullopt;
}

std::string HttpRequest::Cookie(std::string_view name) const {
    const std::string cookies = Header("Cookie");
    std::string_view rest = cookies;
    while (!rest.empty()) {
        std::string_view pair = rest.substr(0, rest.find(';'));
        rest.remove_prefix(std::min(rest.size(), pair.size() + 1));
        pair.remove_prefix(std::min(pair.size(), pair.find_first_not_of(' ')));
        const std::size_t equal = pair.find('=');
        if (equal != std::string_view::npos && pair.substr(0, equal) == name) {
            return std::string(pair.substr(equal + 1));
        }
    }
    return {};
}

class HttpServer::Implementation : public httplib::Server {
public:
    Implementation(const HttpOptions& options, HttpHandler handler)
        : m_options(options), m_handler(std::move(handler)) {
        new_task_queue = [this] { return new ConnectionThreads(m_options.connections); };
        set_payload_max_length(m_options.requestBytes);
        set_keep_alive_timeout(static_cast<time_t>(m_options.idleSeconds));
        set_keep_alive_max_count(s_mostRequests);
        set_tcp_nodelay(true);
        set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
            if (request.path.size() > s_longestPath) {
                response.status = 414;
                Current()->CloseAfterwards();
                return HandlerResponse::Handled;
            }
            // What has a body is answered once the library has read it.
            if (HasBody(request)) {
                return HandlerResponse::Unhandled;
            }
            Answer(request, response);
            return HandlerResponse::Handled;
        });
        const Handler answer = [this](const httplib::Request& request, httplib::Response& response) {
            Answer(request, response);
        };
        Post(".*", answer);
        Put(".*", answer);
        Patch(".*", answer);
        Delete(".*", answer);
        set_error_handler([](const httplib::Request&, httplib::Response& response) {
            // A request that could not be understood, or was cut short: what follows it cannot be told apart.
            if (response.body.empty() && Current() != nullptr) {
                Current()->CloseAfterwards();
                response.set_content(
                    "{\"type\":\"about:blank\",\"title\":\"The request cannot be answered\",\"status\":" +
                        std::to_string(response.status) + "}",
                    "application/problem+json");
            }
        });
        set_exception_handler([](const httplib::Request&, httplib::Response& response, const std::exception_ptr&) {
            response.status = 500; // out of memory: the next request may be luckier
        });
    }

    std::string LoadCertificate() {
        m_tls.reset(SSL_CTX_new(TLS_server_method()));
        if (m_tls == nullptr) {
            return TlsError("TLS cannot be set up");
        }
        SSL_CTX_set_min_proto_version(m_tls.get(), TLS1_2_VERSION);
        SSL_CTX_set_options(m_tls.get(),
                            SSL_OP_NO_COMPRESSION | SSL_OP_NO_RENEGOTIATION | SSL_OP_CIPHER_SERVER_PREFERENCE);
        SSL_CTX_set_mode(m_tls.get(), SSL_MODE_RELEASE_BUFFERS | SSL_MODE_ENABLE_PARTIAL_WRITE);
        if (SSL_CTX_set_cipher_list(m_tls.get(), "ECDHE+AESGCM:ECDHE+CHACHA20") != 1) {
            return TlsError("TLS cannot be set up");
        }
        if (SSL_CTX_use_certificate_chain_file(m_tls.get(), m_options.certificate.c_str()) != 1) {
            return TlsError("the certificate " + m_options.certificate + " cannot be used");
        }
        if (SSL_CTX_use_PrivateKey_file(m_tls.get(), m_options.key.c_str(), SSL_FILETYPE_PEM) != 1 ||
            SSL_CTX_check_private_key(m_tls.get()) != 1) {
            return TlsError("the key " + m_options.key + " cannot be used");
        }
        return {};
    }

    // Pages come back all at once after a restart. Whom the library's short queue has no room for tries again a second
    // later.
    void LetManyWait() { ::listen(svr_sock_, SOMAXCONN); }

    // Serves requests until the client or the stream has enough.
    template <typename More>
    void Serve(ClientStream& stream, const More& more) {
        Current() = &stream;
        for (std::size_t left = s_mostRequests; left > 0 && !stream.Closes() && more(); --left) {
            stream.BeginRequest(m_options.requestBytes);
            bool isClosed = false;
            const bool isServed = process_request(stream, left == 1, isClosed,
                                                  [&](httplib::Request& request) { Prepare(request, stream); });
            if (!isServed || isClosed) {
                break;
            }
        }
        Current() = nullptr;
    }

    void Run() {
        m_runs = true;
        if (!m_stops) {
            listen_after_bind();
        }
        m_runs = false;
    }

    void StopRunning() {
        m_stops = true;
        // The library forgets a stop that comes before it has begun.
        while (m_runs) {
            stop();
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }

private:
    // The connection that this thread serves.
    static ClientStream*& Current() {
        thread_local ClientStream* current = nullptr;
        return current;
    }

    static bool HasBody(const httplib::Request& request) {
        return request.method == "POST" || request.method == "PUT" || request.method == "PATCH" ||
               request.method == "DELETE";
    }

    // Before the library looks further: it should neither unpack bodies, whose size it would not limit, nor take them
    // apart, nor pack answers, which would hold events back, nor cut them into ranges.
    static void Prepare(httplib::Request& request, ClientStream& stream) {
        for (const char* own : {s_refusedBody, s_contentType}) {
            request.headers.erase(own);
        }
        const auto isSet = [&](const char* header) { return request.headers.find(header) != request.headers.end(); };
        const bool isPlain = request.get_header_value_count("Content-Length") <= 1 && !isSet("Transfer-Encoding") &&
                             !isSet("Content-Encoding");
        if (!isPlain || (!HasBody(request) &&
                         request.get_header_value("Content-Length", 0).find_first_not_of('0') != std::string::npos)) {
            // A request whose end is told in an unusual way may be the one of somebody who tries to hide a second one.
            request.set_header(s_refusedBody, "1");
            stream.CloseAfterwards();
        }
        request.headers.emplace(s_contentType, request.get_header_value("Content-Type"));
        for (const char* header : {"Content-Type", "Content-Encoding", "Accept-Encoding", "Expect"}) {
            request.headers.erase(header);
        }
        request.ranges.clear();
    }

    void Answer(const httplib::Request& from, httplib::Response& to) {
        HttpRequest request;
        request.method = from.method;
        request.path = from.path;
        request.query.assign(from.params.begin(), from.params.end());
        request.headers.assign(from.headers.begin(), from.headers.end());
        request.body = from.body;
        request.peer = Current()->From();
        HttpResponse response;
        if (from.has_header(s_refusedBody)) {
            response.status = 400;
        } else {
            response = m_handler(request);
        }
        to.status = response.status;
        for (auto& [name, value] : response.headers) {
            to.set_header(name, value);
        }
        if (Current()->Closes()) {
            to.set_header("Connection", "close");
        }
        if (response.stream) {
            to.set_chunked_content_provider(response.contentType,
                                            [write = std::move(response.stream)](std::size_t, httplib::DataSink& data) {
                                                Sink sink(data);
                                                write(sink);
                                                data.done();
                                                return true;
                                            });
        } else if (!response.body.empty()) {
            to.set_content(response.body, response.contentType);
        }
    }

    static Peer PeerOf(int descriptor, bool tls) {
        sockaddr_storage storage{};
        socklen_t length = sizeof storage;
        char text[INET6_ADDRSTRLEN] = "";
        if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&storage), &length) == 0) {
            if (storage.ss_family == AF_INET) {
                sockaddr_in address{};
                std::memcpy(&address, &storage, sizeof address);
                inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
            } else if (storage.ss_family == AF_INET6) {
                sockaddr_in6 address{};
                std::memcpy(&address, &storage, sizeof address);
                inet_ntop(AF_INET6, &address.sin6_addr, text, sizeof text);
            }
        }
        return {text, IsLoopback(text), tls};
    }

    // Of one connection, how many there are from its address.
    class Place {
    public:
        Place(Implementation& server, const Peer& peer) : m_server(server), m_address(peer.address) {
            const std::lock_guard lock(m_server.m_mutex);
            const unsigned count = ++m_server.m_connections[m_address];
            m_isThere = peer.loopback || count <= m_server.m_options.connectionsOfOne;
        }

        ~Place() {
            const std::lock_guard lock(m_server.m_mutex);
            const auto found = m_server.m_connections.find(m_address);
            if (--found->second == 0) {
                m_server.m_connections.erase(found);
            }
        }

        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;

        bool IsThere() const { return m_isThere; }

    private:
        Implementation& m_server;
        std::string m_address;
        bool m_isThere = false;
    };

    bool process_and_close_socket(socket_t descriptor) override {
        const int flags = fcntl(descriptor, F_GETFL);
        fcntl(descriptor, F_SETFL, flags | O_NONBLOCK);
        fcntl(descriptor, F_SETFD, FD_CLOEXEC);
        const Peer peer = PeerOf(descriptor, m_tls != nullptr);
        const Place place(*this, peer);
        if (ConnectionThreads::IsBeyond() || !place.IsThere()) {
            if (m_tls == nullptr) {
                [[maybe_unused]] const ssize_t told =
                    send(descriptor, s_noRoom, std::strlen(s_noRoom), MSG_DONTWAIT | MSG_NOSIGNAL);
            }
            close(descriptor);
            return false;
        }
        SocketStream stream(descriptor, peer, m_options, m_tls.get());
        if (stream.Handshake()) {
            Serve(stream, [&] {
                const bool isThere = stream.WaitForRequest(m_stops);
                stream.StartRequestTime();
                return isThere;
            });
        }
        return true;
    }

    const HttpOptions& m_options;
    HttpHandler m_handler;
    TlsContext m_tls;
    std::atomic<bool> m_stops = false;
    std::atomic<bool> m_runs = false;
    std::mutex m_mutex;
    std::map<std::string, unsigned> m_connections;
};

HttpServer::HttpServer(HttpOptions options, HttpHandler handler)
    : m_options(std::move(options)), m_implementation(std::make_unique<Implementation>(m_options, std::move(handler))) {
}

HttpServer::~HttpServer() = default;

std::string HttpServer::Listen() {
    if (!m_options.certificate.empty()) {
        if (std::string wrong = m_implementation->LoadCertificate(); !wrong.empty()) {
            return wrong;
        }
    }
    int port = m_options.port;
    const bool isBound = port == 0 ? (port = m_implementation->bind_to_any_port(m_options.address)) > 0
                                   : m_implementation->bind_to_port(m_options.address, port);
    if (!isBound) {
        return "cannot listen on " + m_options.address + " port " + std::to_string(m_options.port) + ": " +
               std::strerror(errno);
    }
    m_implementation->LetManyWait();
    m_port = static_cast<std::uint16_t>(port);
    return {};
}

void HttpServer::Run() {
    m_implementation->Run();
}

void HttpServer::Stop() {
    m_implementation->StopRunning();
}

std::string HttpServer::AnswerTo(std::string_view bytes) {
    TextStream stream(bytes);
    m_implementation->Serve(stream, [&] { return stream.HasMore(); });
    return stream.Output();
}

} // namespace Gateway
