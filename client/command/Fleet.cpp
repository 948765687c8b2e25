#include "Fleet.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <system_error>

#include "FleetResult.h"
#include "Text.h"
#include "Tunnel.h"

namespace MdpCommand {
namespace {

using Clock = std::chrono::steady_clock;

// ssh ends of its own when the time to connect is over, and says more about it.
constexpr std::chrono::milliseconds s_graceOfSsh{1000};

// How long the end of an ssh may come behind the failure that it makes.
constexpr int s_endOfSsh = 200; // milliseconds

// The path of a socket has at most 103 bytes on some systems.
constexpr std::size_t s_longestDirectory = 80;

// For the sockets: nobody else may enter it. Deleted with the object.
class PrivateDirectory {
public:
    PrivateDirectory() {
        for (const char* parent : std::array<const char*, 2>{std::getenv("XDG_RUNTIME_DIR"), "/tmp"}) {
            if (parent == nullptr || parent[0] != '/' || std::string(parent).size() > s_longestDirectory) {
                continue;
            }
            std::string pattern = std::string(parent) + "/mdp-XXXXXX";
            if (mkdtemp(pattern.data()) != nullptr) {
                m_path = pattern;
                return;
            }
        }
    }

    ~PrivateDirectory() { Delete(); }

    PrivateDirectory(const PrivateDirectory&) = delete;
    PrivateDirectory& operator=(const PrivateDirectory&) = delete;

    // Empty, with errno, where none could be made.
    const std::string& Path() const { return m_path; }

    void Delete() {
        if (!m_path.empty()) {
            rmdir(m_path.c_str());
            m_path.clear();
        }
    }

private:
    std::string m_path;
};

volatile std::sig_atomic_t s_noted = 0;
volatile std::sig_atomic_t s_isSent = 0;

void Note(int signal, siginfo_t* info, void*) {
    s_noted = signal;
    s_isSent = info->si_code == SI_USER ? 1 : 0;
}

// While it exists, the signals that end programs are noted, and arrive only where they are waited for. Those that are
// ignored stay so.
class NotedSignals {
public:
    NotedSignals() {
        struct sigaction action {};

        action.sa_sigaction = Note;
        action.sa_flags = SA_SIGINFO;
        sigset_t held;
        sigemptyset(&held);
        s_noted = 0;
        for (std::size_t i = 0; i < s_signals.size(); ++i) {
            sigaction(s_signals[i], nullptr, &m_former[i]);
            if (m_former[i].sa_handler != SIG_IGN) {
                sigaction(s_signals[i], &action, nullptr);
                sigaddset(&held, s_signals[i]);
            }
        }
        sigprocmask(SIG_BLOCK, &held, &m_mask);
    }

    ~NotedSignals() { Restore(); }

    NotedSignals(const NotedSignals&) = delete;
    NotedSignals& operator=(const NotedSignals&) = delete;

    void Restore() const {
        for (std::size_t i = 0; i < s_signals.size(); ++i) {
            sigaction(s_signals[i], &m_former[i], nullptr);
        }
        sigprocmask(SIG_SETMASK, &m_mask, nullptr);
    }

    // Of a wait during which they arrive.
    const sigset_t& Mask() const { return m_mask; }

private:
    static constexpr std::array s_signals{SIGINT, SIGQUIT, SIGTERM, SIGHUP};

    std::array<struct sigaction, s_signals.size()> m_former{};
    sigset_t m_mask{};
};

void Close(int& descriptor) {
    if (descriptor >= 0) {
        close(descriptor);
        descriptor = -1;
    }
}

// A machine that is connected to or worked for.
struct Machine {
    std::unique_ptr<Tunnel> tunnel;
    Clock::time_point deadline; // for the connection
    pid_t worker = -1;
    int report = -1;
    int errors = -1;
    ReportReader reader;
    std::string errorLine; // that has not ended yet
    bool isStream = false;
    bool isReached = false;
};

class Fleet {
public:
    Fleet(const FleetOptions& options, const Streams& streams, const Work& work, const FailAlone& failAlone)
        : m_options(options), m_streams(streams), m_work(work), m_failAlone(failAlone),
          m_isAlone(options.hosts.size() == 1), m_results(ResultsFor(options.hosts)), m_machines(m_results.size()),
          m_prefix(m_results) {
        // Several at once would ask in one another's words.
        int terminal = m_isAlone ? open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC) : -1;
        m_tunnelOptions = {options.remoteSocket, options.sshOptions, terminal >= 0, options.connectTimeout};
        Close(terminal);
    }

    int Run() {
        if (m_directory.Path().empty()) {
            m_streams.err << "mdp: /tmp: " << std::generic_category().message(errno)
                          << "; mdp needs a directory for its connections there or in $XDG_RUNTIME_DIR\n";
            return ExitLocal;
        }
        while (!IsDone()) {
            StartMore();
            Wait();
            HandOnSignal();
        }
        const int status = Show();
        if (m_signal == 0) {
            return status;
        }
        m_streams.out.flush();
        m_directory.Delete();
        m_signals.Restore();
        raise(m_signal);
        return 128 + m_signal;
    }

private:
    static std::vector<MachineResult> ResultsFor(const std::vector<Host>& hosts) {
        std::vector<MachineResult> results(hosts.size());
        for (std::size_t i = 0; i < hosts.size(); ++i) {
            results[i].label = hosts[i].label;
            results[i].name = hosts[i].Text();
        }
        return results;
    }

    bool IsRunning(std::size_t i) const { return m_results[i].isStarted && m_machines[i].tunnel != nullptr; }

    bool IsDone() const {
        const bool isOver = m_signal != 0 || m_isOutputGone;
        for (std::size_t i = 0; i < m_machines.size(); ++i) {
            if (IsRunning(i) || (!isOver && !m_results[i].isStarted)) {
                return false;
            }
        }
        return true;
    }

    void StartMore() {
        std::size_t running = 0;
        for (std::size_t i = 0; i < m_machines.size(); ++i) {
            running += IsRunning(i) ? 1 : 0;
        }
        for (std::size_t i = 0; i < m_machines.size() && running < m_options.atOnce; ++i) {
            if (m_results[i].isStarted || m_signal != 0 || m_isOutputGone) {
                continue;
            }
            Machine& machine = m_machines[i];
            m_results[i].isStarted = true;
            machine.deadline = Clock::now() + m_options.connectTimeout + s_graceOfSsh;
            machine.tunnel = std::make_unique<Tunnel>(m_options.hosts[i], m_directory.Path() + "/" + std::to_string(i),
                                                      m_tunnelOptions);
            ++running;
        }
    }

    // Waits until something happens and deals with it.
    void Wait() {
        std::vector<pollfd> waited;
        std::vector<std::pair<std::size_t, void (Fleet::*)(std::size_t)>> takers;
        const auto wait = [&](int descriptor, std::size_t i, void (Fleet::*take)(std::size_t)) {
            if (descriptor >= 0) {
                waited.push_back({descriptor, POLLIN, 0});
                takers.emplace_back(i, take);
            }
        };
        std::optional<Clock::time_point> next;
        for (std::size_t i = 0; i < m_machines.size(); ++i) {
            const Machine& machine = m_machines[i];
            if (!IsRunning(i)) {
                continue;
            }
            wait(machine.report, i, &Fleet::TakeReport);
            wait(machine.errors, i, &Fleet::TakeErrors);
            wait(machine.tunnel->Errors(), i, &Fleet::TakeTunnelErrors);
            wait(machine.tunnel->Output(), i, &Fleet::TakeTunnelOutput);
            if (machine.worker < 0 && !m_tunnelOptions.asks) {
                next = std::min(next.value_or(machine.deadline), machine.deadline);
            }
        }
        // The reader of a stream that says nothing may go, too: a descriptor that is asked for nothing tells its end.
        if (m_isStream && !m_isOutputGone) {
            wait(STDOUT_FILENO, 0, &Fleet::LoseOutput);
            waited.back().events = 0;
        }
        timespec limit{};
        if (next) {
            const auto left = std::max(*next - Clock::now(), Clock::duration::zero());
            const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
            limit.tv_sec = static_cast<time_t>(seconds.count());
            limit.tv_nsec = static_cast<long>(std::chrono::nanoseconds(left - seconds).count());
        }
        // One that could not be started has nothing to be waited for.
        if (!waited.empty() &&
            ppoll(waited.data(), static_cast<nfds_t>(waited.size()), next ? &limit : nullptr, &m_signals.Mask()) > 0) {
            for (std::size_t k = 0; k < waited.size(); ++k) {
                if (waited[k].revents != 0) {
                    (this->*takers[k].second)(takers[k].first);
                }
            }
        }
        for (std::size_t i = 0; i < m_machines.size(); ++i) {
            if (IsRunning(i) && m_machines[i].worker < 0) {
                LookAtTunnel(i);
            }
        }
    }

    void LoseOutput(std::size_t) {
        m_isOutputGone = true;
        Interrupt(SIGTERM);
    }

    // What came before for the same machine may have ended it.
    void TakeTunnelOutput(std::size_t i) {
        if (IsRunning(i) && m_machines[i].tunnel->Output() >= 0) {
            m_machines[i].tunnel->TakeOutput();
        }
    }

    void TakeTunnelErrors(std::size_t i) {
        if (!IsRunning(i) || m_machines[i].tunnel->Errors() < 0) {
            return;
        }
        Tunnel& tunnel = *m_machines[i].tunnel;
        const std::string text = tunnel.TakeErrors();
        // Somebody may be waited for, to touch a key.
        if (m_tunnelOptions.asks && tunnel.Is() == Tunnel::State::Connecting) {
            m_streams.err << text << std::flush;
        }
    }

    void LookAtTunnel(std::size_t i) {
        Machine& machine = m_machines[i];
        if (machine.tunnel->Is() == Tunnel::State::Connecting && !m_tunnelOptions.asks &&
            Clock::now() >= machine.deadline) {
            machine.tunnel->GiveUp("no connection: ssh did not get so far within " +
                                   std::to_string(m_options.connectTimeout.count() / 1000) +
                                   " s; --connect-timeout gives it more");
        }
        if (machine.tunnel->Is() == Tunnel::State::Open) {
            StartWorker(i);
        } else if (machine.tunnel->Is() == Tunnel::State::Ended) {
            Unreached(i, machine.tunnel->Reason(m_tunnelOptions.asks));
        }
    }

    void Unreached(std::size_t i, std::string reason) {
        MachineResult& result = m_results[i];
        result.isDone = true;
        result.status = ExitTransport;
        result.reason = std::move(reason);
        m_machines[i].tunnel.reset();
    }

    void StartWorker(std::size_t i) {
        Machine& machine = m_machines[i];
        std::array<int, 2> report{-1, -1};
        std::array<int, 2> errors{-1, -1};
        m_streams.out.flush();
        m_streams.err.flush();
        if (pipe2(report.data(), O_CLOEXEC) == 0 && pipe2(errors.data(), O_CLOEXEC) == 0) {
            machine.worker = fork();
        }
        if (machine.worker == 0) {
            m_signals.Restore();
            for (const Machine& other : m_machines) {
                if (other.tunnel != nullptr) {
                    other.tunnel->CloseDescriptors();
                }
            }
            RunWorker(i, report[1], errors[1]);
        }
        const int number = errno;
        machine.isReached = true;
        Close(report[1]);
        Close(errors[1]);
        machine.report = report[0];
        machine.errors = errors[0];
        if (machine.worker < 0) {
            Close(machine.report);
            Close(machine.errors);
            Unreached(i, "cannot start the command: " + std::generic_category().message(number));
            m_results[i].status = ExitLocal;
        }
    }

    // The worker. Does not return, so that nothing is deleted that is not its own.
    [[noreturn]] void RunWorker(std::size_t i, int reportPipe, int errors) const {
        const Host& host = m_options.hosts[i];
        const std::string& socket = m_machines[i].tunnel->Socket();
        if (m_isAlone) {
            const int status = m_work({socket, host, m_streams, nullptr});
            m_streams.out.flush();
            m_streams.err.flush();
            std::_Exit(status);
        }
        // A signal of the terminal is handed on like any other, so that it arrives once.
        setpgid(0, 0);
        const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
        dup2(nothing, STDIN_FILENO);
        dup2(errors, STDOUT_FILENO);
        dup2(errors, STDERR_FILENO);
        const Report report(reportPipe);
        ReportOutput buffer(report);
        std::ostream out(&buffer);
        const int status = m_work(
            {socket, host, {out, std::cerr, false, false, m_streams.outInColour, m_streams.errInColour}, &report});
        out.flush();
        std::cerr.flush();
        std::_Exit(status);
    }

    // The end of the reports is that of the worker.
    void TakeReport(std::size_t i) {
        Machine& machine = m_machines[i];
        if (machine.report < 0) {
            return;
        }
        std::string bytes;
        if (ReadMore(machine.report, bytes)) {
            machine.reader.Add(bytes, [&](ReportKind kind, const std::string& content) { Take(i, kind, content); });
            return;
        }
        Close(machine.report);
        while (machine.errors >= 0) {
            TakeErrors(i);
        }
        FinishWorker(i);
    }

    void TakeErrors(std::size_t i) {
        Machine& machine = m_machines[i];
        if (machine.errors < 0) {
            return;
        }
        std::string bytes;
        if (!ReadMore(machine.errors, bytes)) {
            Close(machine.errors);
            bytes = machine.errorLine.empty() ? "" : "\n";
        }
        machine.errorLine += bytes;
        const std::size_t end = machine.errorLine.rfind('\n') + 1; // 0 where there is none
        m_prefix.Print(m_streams.err, m_results[i].label, machine.errorLine.substr(0, end));
        m_streams.err.flush();
        machine.errorLine.erase(0, end);
    }

    // False at the end.
    static bool ReadMore(int descriptor, std::string& bytes) {
        std::array<char, 16384> piece{};
        const ssize_t got = read(descriptor, piece.data(), piece.size());
        if (got > 0) {
            bytes.assign(piece.data(), static_cast<std::size_t>(got));
        }
        return got > 0 || (got < 0 && errno == EINTR);
    }

    void Take(std::size_t i, ReportKind kind, const std::string& content) {
        Machine& machine = m_machines[i];
        MachineResult& result = m_results[i];
        switch (kind) {
        case ReportKind::Text:
            result.text += content;
            if (machine.isStream) {
                ShowStream(result);
            }
            break;
        case ReportKind::Table:
            result.tables.push_back(TableOf(content));
            break;
        case ReportKind::Document:
            result.documents.push_back(content);
            break;
        case ReportKind::Failure:
            result.reason = content;
            break;
        case ReportKind::ErrorObject:
            result.errorObject = content;
            break;
        case ReportKind::Stream:
            machine.isStream = true;
            m_isStream = true;
            break;
        }
    }

    // The lines that are whole.
    void ShowStream(MachineResult& result) {
        const std::string lines = result.text.substr(0, result.text.rfind('\n') + 1);
        result.text.erase(0, lines.size());
        if (m_options.json) {
            m_streams.out << lines; // each tells its machine
        } else {
            m_prefix.Print(m_streams.out, result.label, lines);
        }
        if (!m_streams.out.flush()) {
            LoseOutput(0);
        }
    }

    void FinishWorker(std::size_t i) {
        Machine& machine = m_machines[i];
        MachineResult& result = m_results[i];
        int status = 0;
        while (waitpid(machine.worker, &status, 0) < 0 && errno == EINTR) {
        }
        machine.worker = -1;
        const bool isKilled = WIFSIGNALED(status);
        result.status = isKilled ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
        result.isDone = !isKilled || (m_signal == 0 && !m_isOutputGone);
        if (isKilled && result.isDone) {
            result.reason = "mdp was ended there by signal " + std::to_string(WTERMSIG(status));
        }
        if (result.status == ExitTransport) {
            pollfd end{machine.tunnel->Output(), POLLIN, 0};
            if (end.fd >= 0 && poll(&end, 1, s_endOfSsh) > 0) {
                machine.tunnel->TakeOutput();
            }
            if (machine.tunnel->Is() == Tunnel::State::Ended) {
                result.reason = machine.tunnel->Reason(false);
                result.errorObject.clear();
                if (m_isAlone) {
                    m_streams.err << "mdp: " << result.label << ": " << PrintableText(result.reason) << '\n';
                }
            }
        }
        machine.tunnel.reset();
    }

    void HandOnSignal() {
        if (s_noted == 0) {
            return;
        }
        m_signal = static_cast<int>(s_noted);
        s_noted = 0;
        // The terminal has sent it to the worker that has its streams, too.
        if (!m_isAlone || s_isSent != 0) {
            Interrupt(m_signal);
        } else {
            Interrupt(0);
        }
    }

    // Gives up what is not connected yet, and hands a signal to the workers.
    void Interrupt(int signal) {
        for (std::size_t i = 0; i < m_machines.size(); ++i) {
            Machine& machine = m_machines[i];
            if (!IsRunning(i)) {
                continue;
            }
            if (machine.worker > 0) {
                kill(machine.worker, signal);
            } else {
                machine.tunnel.reset();
            }
        }
    }

    int Show() {
        if (m_isAlone) {
            const MachineResult& result = m_results.front();
            return m_machines.front().isReached || !result.isDone ? result.status
                                                                  : m_failAlone(m_options.hosts.front(), result.reason);
        }
        if (m_options.json) {
            m_isStream ? PrintJsonErrors(m_streams.out, m_results) : PrintJsonTogether(m_streams.out, m_results);
        } else {
            PrintTogether(m_streams, m_results);
        }
        if (m_isOutputGone || !m_streams.out.flush()) {
            m_streams.err << "mdp: the output could not be written\n";
            return ExitLocal;
        }
        if (!m_options.json) {
            PrintSummary(m_streams.err, m_results);
        }
        return StatusOfAll(m_results);
    }

    const FleetOptions& m_options;
    const Streams& m_streams;
    const Work& m_work;
    const FailAlone& m_failAlone;
    bool m_isAlone;
    std::vector<MachineResult> m_results;
    PrivateDirectory m_directory;
    NotedSignals m_signals;
    std::vector<Machine> m_machines; // of each result; ended before the signals come through again
    LinePrefix m_prefix;
    TunnelOptions m_tunnelOptions;
    int m_signal = 0;
    bool m_isStream = false;
    bool m_isOutputGone = false;
};

} // namespace

int RunOnHosts(const FleetOptions& options, Streams streams, const Work& work, const FailAlone& failAlone) {
    return Fleet(options, streams, work, failAlone).Run();
}

} // namespace MdpCommand
