#include "Commands.h"

#include <array>
#include <cerrno>
#include <ostream>

#include "Completion.h"
#include "LocalInput.h"
#include "ObjectView.h"
#include "Text.h"

namespace MdpCommand {
namespace {

// Enough for every request, so that a file without an end does not take all memory.
constexpr std::size_t s_largestRequest = 64U << 20;

// What a job tells of its progress while it runs, on a terminal only, and rubbed out at its end.
class ProgressLine {
public:
    explicit ProgressLine(const Streams& streams) : m_streams(streams) {}

    ~ProgressLine() {
        if (m_shown) {
            m_streams.err << "\r\x1b[K" << std::flush;
        }
    }

    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void Show(Mdp::ServiceStatus status) {
        if (m_streams.errIsTerminal) {
            m_shown = true;
            const auto progress = status.Progress();
            m_streams.err << "\r\x1b[Krunning" << (progress ? ", status " + std::to_string(*progress) : "")
                          << std::flush;
        }
    }

private:
    Streams m_streams;
    bool m_shown = false;
};

class CallCommand : public Command {
public:
    void Declare(Arguments& arguments) override {
        arguments.Positional("INDEX", TakeAddress(m_address), "the service object, 0xB000 to 0xBFFF").Required();
        Argument& request = arguments.Positional("REQUEST", &m_request, "the request; none is an empty one");
        Argument& hex = arguments.Flag("--hex", m_hex, "REQUEST is hexadecimal digits");
        arguments.Option("--file", &m_file, "take the request from a file, - for the standard input")
            .Excludes(request)
            .Excludes(hex)
            .Offer({{s_completeFiles, ""}});
        arguments.Flag("--raw", m_raw, "write the bytes of the response as they are");
    }

    int Prepare(const Context& context) override {
        if (m_file == "-") {
            return context.Fail(ExitUsage, "the standard input can go to one machine only; for several keep it in a "
                                           "file and name that");
        }
        return m_raw ? context.FailRaw() : int{ExitOk};
    }

    int Run(const Context& context) override {
        const std::string subject = IndexText(m_address.index);
        if (m_address.subIndex) {
            return context.Fail(ExitUsage, "call takes an index without a sub-index: mdp call " + subject);
        }
        if (m_address.index < 0xB000 || m_address.index > 0xBFFF) {
            return context.Fail(ExitUsage, subject + " is not a service object: these are 0xB000 to 0xBFFF");
        }
        Mdp::Result<Mdp::Bytes> request = Request();
        if (!request) {
            return context.Fail(request.Error(), subject);
        }
        Mdp::Result<Mdp::ServiceResponse> response = Mdp::Error{};
        {
            ProgressLine line(context.streams);
            Mdp::CallOptions options = context.JobOptions(subject);
            options.progress = [&](Mdp::ServiceStatus status) { line.Show(status); };
            response = context.client.CallService(m_address.index, *request, options);
        }
        if (!response) {
            const int status = context.Fail(response.Error(), subject);
            return response.Error().kind == Mdp::ErrorKind::Timeout ? ExitRunning : status;
        }
        return Show(context, subject, *response);
    }

    std::vector<Candidate> Complete(const Context& context, const std::vector<std::string>& positionals,
                                    const std::string& word) override {
        if (!positionals.empty()) {
            return {};
        }
        std::vector<Candidate> candidates = CompleteAddress(context, word);
        std::erase_if(candidates, [](const Candidate& candidate) { return !candidate.text.starts_with("0xB"); });
        return candidates;
    }

private:
    Mdp::Result<Mdp::Bytes> Request() const {
        if (m_file.empty()) {
            return m_hex ? Mdp::FromHex(m_request) : Mdp::Bytes(m_request.begin(), m_request.end());
        }
        const LocalInput input(m_file);
        if (input.Number() < 0) {
            return Mdp::Error{Mdp::ErrorKind::Local, 0, errno, m_file};
        }
        Mdp::Bytes bytes;
        std::array<std::uint8_t, 65536> piece{};
        ssize_t got = 1;
        while (got > 0 && bytes.size() <= s_largestRequest) {
            got = input.Read(piece);
            if (got < 0) {
                return Mdp::Error{Mdp::ErrorKind::Local, 0, errno, m_file};
            }
            bytes.insert(bytes.end(), piece.begin(), piece.begin() + got);
        }
        if (bytes.size() > s_largestRequest) {
            return Mdp::Error{Mdp::ErrorKind::Local, 0, 0, m_file + ": a request has at most 64 MiB"};
        }
        return bytes;
    }

    int Show(const Context& context, const std::string& subject, const Mdp::ServiceResponse& response) const {
        const Mdp::Code code = response.FailureCode();
        const std::string text(response.data.begin(), response.data.end());
        if (context.json) {
            Json json{{"index", subject}, {"status", response.status.value}};
            if (response.status.Failed()) {
                json.Add("error", CodeJson(code));
            }
            json.Add("hex", Mdp::ToHex(response.data));
            if (Mdp::IsUtf8(text)) {
                json.Add("text", text);
            }
            context.Print(json);
        } else if (response.status.Failed()) {
            context.Fail({Mdp::ErrorKind::Object, code, 0, {}}, subject);
        } else if (m_raw) {
            context.streams.out.write(text.data(), static_cast<std::streamsize>(text.size()));
        } else if (!text.empty()) {
            // A text without anything to escape is one; records of numbers are easier to read as digits.
            const bool isText = PrintableText(text) == text;
            context.streams.out << (isText ? text : "0x" + Mdp::ToHex(response.data)) << '\n';
        }
        return response.status.Failed() ? ExitObject : ExitOk;
    }

    Address m_address;
    std::string m_request;
    std::string m_file;
    bool m_hex = false;
    bool m_raw = false;
};

} // namespace

std::unique_ptr<Command> MakeCallCommand() {
    return std::make_unique<CallCommand>();
}

} // namespace MdpCommand
