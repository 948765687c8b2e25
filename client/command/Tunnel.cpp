#include "Tunnel.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <system_error>
#include <thread>

#include "Text.h"

namespace MdpCommand {
namespace {

constexpr std::string_view s_begin = "mdp-begin";
constexpr std::string_view s_end = "mdp-end";

// A shell of the other machine that says more than this before it comes to the point is none to go on with.
constexpr std::size_t s_longestGreeting = 64U << 10;
constexpr std::size_t s_longestComplaint = 4U << 10;

// How long ssh may take to end when it has closed its output, and when it was told to.
constexpr std::chrono::milliseconds s_graceOfItsOwn{500};
constexpr std::chrono::milliseconds s_patience{2000};
constexpr std::chrono::milliseconds s_pause{2};

std::string ErrorText(int number) {
    return std::generic_category().message(number);
}

// What any shell understands: csh(1) is one, too.
std::string Script(const std::string& socket) {
    return "echo " + std::string(s_begin) + "; id -u; ls -ldn " + socket + "; echo " + std::string(s_end) +
           "; exec cat";
}

std::vector<std::string> Words(const Host& host, const std::string& socket, const TunnelOptions& options) {
    const char* program = std::getenv("MDP_SSH");
    std::vector<std::string> words{program != nullptr && *program != '\0' ? program : "ssh", "-T", "-a", "-x"};
    // Of an option that is given twice ssh takes the first. It must not become, or ask, another ssh that stays with
    // the forward behind; and a forward of the user's own configuration that fails is none of this program's affair.
    std::vector<std::string> given = options.sshOptions;
    given.insert(given.end(), {options.asks ? "BatchMode=no" : "BatchMode=yes",
                               "ConnectTimeout=" + std::to_string(options.connectTimeout.count() / 1000),
                               "ControlMaster=no", "ControlPath=none", "ExitOnForwardFailure=no",
                               "PermitLocalCommand=no", "RemoteCommand=none", "ServerAliveInterval=5",
                               "ServerAliveCountMax=3", "StreamLocalBindMask=0177", "StreamLocalBindUnlink=no"});
    for (const std::string& option : given) {
        words.insert(words.end(), {"-o", option});
    }
    words.insert(words.end(), {"-L", socket + ":" + options.remoteSocket});
    if (!host.user.empty()) {
        words.insert(words.end(), {"-l", host.user});
    }
    if (!host.port.empty()) {
        words.insert(words.end(), {"-p", host.port});
    }
    words.insert(words.end(), {"--", host.name, Script(options.remoteSocket)});
    return words;
}

// Does not return.
void Execute(std::vector<std::string>& words, int input, int output, int errors) {
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    for (const int number : {SIGINT, SIGQUIT, SIGHUP}) {
        std::signal(number, SIG_IGN);
    }
    for (const int number : {SIGTERM, SIGPIPE}) {
        std::signal(number, SIG_DFL);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    execvp(pointers[0], pointers.data());
    const std::string wrong =
        "cannot run " + words[0] + ": " + ErrorText(errno) + "; install OpenSSH's client, or name it in MDP_SSH\n";
    (void)!write(STDERR_FILENO, wrong.data(), wrong.size());
    _exit(127);
}

void Close(int& descriptor) {
    if (descriptor >= 0) {
        close(descriptor);
        descriptor = -1;
    }
}

// Appends what can be read at once. False at the end.
bool Take(int descriptor, std::string& text) {
    std::array<char, 4096> piece{};
    const ssize_t got = read(descriptor, piece.data(), piece.size());
    if (got > 0) {
        text.append(piece.data(), static_cast<std::size_t>(got));
    }
    return got > 0 || (got < 0 && (errno == EINTR || errno == EAGAIN));
}

// The host as the user would give it to ssh by hand.
std::string HintOf(const Host& host) {
    return (host.port.empty() ? "" : "-p " + host.port + " ") + (host.user.empty() ? "" : host.user + "@") + host.name;
}

// The last line that is not empty.
std::string LastLine(const std::string& text) {
    std::string last;
    for (std::string& line : Split(text, '\n')) {
        std::erase(line, '\r');
        if (line.find_first_not_of(' ') != std::string::npos) {
            last = std::move(line);
        }
    }
    return last;
}

} // namespace

bool IsForwardable(const std::string& path) {
    constexpr std::string_view allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+";
    return path.starts_with('/') && path.find_first_not_of(allowed) == std::string::npos;
}

Tunnel::Tunnel(const Host& host, std::string socket, const TunnelOptions& options)
    : m_host(host), m_socket(std::move(socket)), m_remoteSocket(options.remoteSocket) {
    Start(options);
}

Tunnel::~Tunnel() {
    End({});
}

void Tunnel::Start(const TunnelOptions& options) {
    std::vector<std::string> words = Words(m_host, m_socket, options);
    std::array<std::array<int, 2>, 3> pipes{{{-1, -1}, {-1, -1}, {-1, -1}}};
    for (auto& ends : pipes) {
        if (pipe2(ends.data(), O_CLOEXEC) != 0) {
            GiveUp("cannot start ssh: " + ErrorText(errno));
            break;
        }
    }
    if (m_state == State::Connecting) {
        m_process = fork();
        if (m_process == 0) {
            Execute(words, pipes[0][0], pipes[1][1], pipes[2][1]);
        }
        if (m_process < 0) {
            GiveUp("cannot start ssh: " + ErrorText(errno));
        }
    }
    for (int end : {pipes[0][0], pipes[1][1], pipes[2][1]}) {
        Close(end);
    }
    m_input = pipes[0][1];
    m_output = pipes[1][0];
    m_errors = pipes[2][0];
    if (m_state == State::Ended) {
        CloseDescriptors();
    }
}

void Tunnel::CloseDescriptors() {
    Close(m_input);
    Close(m_output);
    Close(m_errors);
}

void Tunnel::TakeOutput() {
    std::string more;
    const bool goesOn = Take(m_output, more);
    if (m_state == State::Connecting) {
        m_greeting += more;
        LookAtGreeting();
    }
    if (!goesOn) {
        End(s_graceOfItsOwn);
    }
}

std::string Tunnel::TakeErrors() {
    std::string more;
    if (!Take(m_errors, more)) {
        Close(m_errors);
    }
    m_complaint += more;
    if (m_complaint.size() > s_longestComplaint) {
        m_complaint.erase(0, m_complaint.size() - s_longestComplaint);
    }
    return more;
}

void Tunnel::LookAtGreeting() {
    // A shell may have greeted the user before.
    const std::size_t begin = m_greeting.find(std::string(s_begin) + "\n");
    const std::size_t end = begin == std::string::npos ? begin : m_greeting.find(std::string(s_end) + "\n", begin);
    if (end == std::string::npos) {
        if (m_greeting.size() > s_longestGreeting) {
            GiveUp("the shell there answers with something else than what was asked for; look at: ssh " +
                   HintOf(m_host) + " echo ok");
        }
        return;
    }
    if (std::string wrong = CheckOwner(m_greeting.substr(begin, end - begin)); !wrong.empty()) {
        GiveUp(std::move(wrong));
        return;
    }

    struct stat status {};

    if (stat(m_socket.c_str(), &status) != 0) {
        const std::string complaint = LastLine(m_complaint);
        GiveUp("ssh is connected, but does not forward a socket" + (complaint.empty() ? "" : ": " + complaint));
        return;
    }
    m_state = State::Open;
    m_wasOpen = true;
    m_complaint.clear();
}

std::string Tunnel::CheckOwner(const std::string& greeting) const {
    std::istringstream lines(greeting);
    std::string line;
    std::optional<std::uint64_t> user;
    bool isSocket = false;
    std::optional<std::uint64_t> owner;
    for (std::getline(lines, line); std::getline(lines, line);) {
        std::istringstream words(line);
        std::string mode;
        std::string links;
        std::string number;
        words >> mode >> links >> number;
        if (links.empty() && !user) {
            user = ParseNumber(mode, 0xFFFFFFFFU);
        } else if (line.ends_with(" " + m_remoteSocket)) {
            isSocket = mode.starts_with('s');
            owner = ParseNumber(number, 0xFFFFFFFFU);
        }
    }
    if (!user) {
        return "the shell there does not know who it is for; look at: ssh " + HintOf(m_host) + " id -u";
    }
    if (!owner) {
        return "there is no " + m_remoteSocket + " there; start the service on that machine";
    }
    if (!isSocket) {
        return m_remoteSocket + " is no socket there; find out on that machine who made it";
    }
    if (*owner != 0 && *owner != *user) {
        return "user " + std::to_string(*owner) + " listens at " + m_remoteSocket +
               " there, and neither root nor the user of ssh; find out on that machine who it is";
    }
    return "";
}

void Tunnel::GiveUp(std::string reason) {
    m_reason = std::move(reason);
    End({});
}

std::string Tunnel::Reason(bool isShown) const {
    if (!m_reason.empty()) {
        return m_reason;
    }
    std::string told = LastLine(m_complaint);
    if (told.empty() || isShown) {
        told = "it ended with status " + std::to_string(m_exitStatus);
    } else if (told.starts_with("ssh: ")) {
        told.erase(0, 5);
    }
    return (m_wasOpen ? "the connection was lost: ssh: " : "no connection: ssh: ") + told +
           (m_wasOpen ? "" : "; look at: ssh " + HintOf(m_host));
}

void Tunnel::End(std::chrono::milliseconds grace) {
    if (m_process > 0) {
        Close(m_input);
        if (!WaitForEnd(grace)) {
            kill(m_process, SIGTERM);
            if (!WaitForEnd(s_patience)) {
                kill(m_process, SIGKILL);
                WaitForEnd(s_patience);
            }
        }
        m_process = -1;
        // What it said at its end.
        if (m_errors >= 0 && fcntl(m_errors, F_SETFL, O_NONBLOCK) == 0) {
            while (!TakeErrors().empty()) {
            }
        }
        unlink(m_socket.c_str());
    }
    CloseDescriptors();
    m_state = State::Ended;
}

bool Tunnel::WaitForEnd(std::chrono::milliseconds limit) {
    const auto until = std::chrono::steady_clock::now() + limit;
    for (;;) {
        int status = 0;
        if (waitpid(m_process, &status, WNOHANG) == m_process) {
            m_exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            return true;
        }
        if (std::chrono::steady_clock::now() >= until) {
            return false;
        }
        std::this_thread::sleep_for(s_pause);
    }
}

} // namespace MdpCommand
