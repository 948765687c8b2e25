#include "Command.h"

#include <algorithm>
#include <array>
#include <new>
#include <optional>
#include <ostream>

#include "Advice.h"
#include "CommandLine.h"
#include "Commands.h"
#include "Completion.h"
#include "Fleet.h"
#include "Text.h"
#include "Tunnel.h"

namespace MdpCommand {
namespace {

constexpr std::array s_commands{
    CommandRow{"modules", "list the modules of the machine", MakeModulesCommand},
    CommandRow{"read", "read an object or one of its entries", MakeReadCommand},
    CommandRow{"write", "write one entry", MakeWriteCommand},
    CommandRow{"tree", "show all modules and objects with their values", MakeTreeCommand},
    CommandRow{"describe", "describe an object or one of its entries", MakeDescribeCommand},
    CommandRow{"call", "start a service object and show its response", MakeCallCommand},
    CommandRow{"watch", "show values as they change", MakeWatchCommand},
    CommandRow{"net", "show or change the network adapters", MakeNetCommand},
    CommandRow{"time", "show or set the clock", MakeTimeCommand},
    CommandRow{"zone", "show, list or select the time zone", MakeZoneCommand},
    CommandRow{"ntp", "show or change the time server", MakeNtpCommand},
    CommandRow{"drives", "show the health of the drives", MakeDrivesCommand},
    CommandRow{"discs", "show the logical discs and their free space", MakeDiscsCommand},
    CommandRow{"sensors", "show temperatures, voltages, fans, load and power", MakeSensorsCommand},
    CommandRow{"gpio", "show or drive the mainboard's GPIO pins", MakeGpioCommand},
    CommandRow{"ups", "show the uninterruptible power supplies", MakeUpsCommand},
    CommandRow{"runtime", "show the automation runtime", MakeRuntimeCommand},
    CommandRow{"routes", "show, add or delete routes of the automation runtime", MakeRoutesCommand},
    CommandRow{"user", "list, add, delete users; change passwords", MakeUserCommand},
    CommandRow{"group", "list, add, delete groups; change members", MakeGroupCommand},
    CommandRow{"save", "save the settings of the machine as a document", MakeSaveCommand},
    CommandRow{"diff", "show how the machine differs from saved settings", MakeDiffCommand},
    CommandRow{"apply", "give the machine saved settings", MakeApplyCommand},
    CommandRow{"ls", "list files of the machine", MakeListCommand},
    CommandRow{"get", "fetch files from the machine", MakeGetCommand},
    CommandRow{"put", "send a file to the machine", MakePutCommand},
    CommandRow{"cp", "copy files on the machine", MakeCopyCommand},
    CommandRow{"mv", "move or rename files on the machine", MakeMoveCommand},
    CommandRow{"rm", "delete files or directories of the machine", MakeRemoveCommand},
    CommandRow{"mkdir", "make a directory on the machine", MakeMakeDirectoryCommand},
};

const char* KindName(Mdp::ErrorKind kind) {
    switch (kind) {
    case Mdp::ErrorKind::Connect:
        return "connect";
    case Mdp::ErrorKind::Timeout:
        return "timeout";
    case Mdp::ErrorKind::Closed:
        return "closed";
    case Mdp::ErrorKind::Transport:
        return "transport";
    case Mdp::ErrorKind::Protocol:
        return "protocol";
    case Mdp::ErrorKind::Object:
        return "object";
    case Mdp::ErrorKind::Argument:
        return "argument";
    case Mdp::ErrorKind::Local:
        return "local";
    }
    return "";
}

ExitStatus StatusOf(Mdp::ErrorKind kind) {
    switch (kind) {
    case Mdp::ErrorKind::Object:
        return ExitObject;
    case Mdp::ErrorKind::Argument:
        return ExitUsage;
    case Mdp::ErrorKind::Local:
        return ExitLocal;
    default:
        return ExitTransport;
    }
}

// The failure in one line, in which the number and the name of a code stand out.
std::string MessageOf(const Mdp::Error& error, bool inColour) {
    std::string message = PrintableText(error.Message());
    if (error.kind != Mdp::ErrorKind::Object) {
        return message;
    }
    const std::size_t begin = std::min(message.find(HexText(error.code, 8)), message.size());
    const std::size_t end = std::min(message.find(':', begin), message.size());
    return message.substr(0, begin) + Styled(message.substr(begin, end - begin), Style::Code, inColour) +
           message.substr(end);
}

std::optional<std::uint32_t> ParseLanguage(const std::string& text) {
    if (text.empty()) {
        return Mdp::LanguageDefault;
    }
    if (text == "en") {
        return Mdp::LanguageEnglish;
    }
    if (text == "de") {
        return Mdp::LanguageGerman;
    }
    const auto number = ParseNumber(text, 0xFFFFFFFFU);
    return number ? std::optional(static_cast<std::uint32_t>(*number)) : std::nullopt;
}

// Runs a command with what it is given, and makes sure that its output is there.
int RunCommand(Command& command, const Context& context) {
    int status = ExitLocal;
    try {
        status = command.Run(context);
    } catch (const std::bad_alloc&) {
        return context.Fail(ExitLocal, "there is not enough memory");
    } catch (const std::exception& error) {
        return context.Fail(ExitLocal, error.what());
    }
    context.streams.out.flush();
    if (!context.streams.out && status == ExitOk) {
        context.streams.err << "mdp: the output could not be written\n";
        return ExitLocal;
    }
    return status;
}

// Whether the socket of another machine leads to its service: ssh only tells that it is there.
Mdp::Result<void> CheckService(const Mdp::Client& client, const std::string& socket) {
    constexpr std::uint16_t deviceType = 0x1000;
    const auto answer = client.Read(deviceType, 0);
    if (answer || answer.Error().kind == Mdp::ErrorKind::Object) {
        return {};
    }
    return Mdp::Error{Mdp::ErrorKind::Connect, 0, 0,
                      "ssh is connected, but the service does not answer at " + socket +
                          " there; log in as a user who may use that socket, such as root, and make sure that it is "
                          "running and that sshd forwards to sockets (AllowStreamLocalForwarding)"};
}

// Runs the command on the machines that the command line names.
int RunElsewhere(const Program& program, Command& command, const Context& here, const std::vector<std::string>& names) {
    HostList list = ParseHosts(names);
    if (!list.wrong.empty()) {
        return here.Fail(ExitUsage, list.wrong);
    }
    if (!IsForwardable(program.client.socketPath)) {
        return here.Fail(ExitUsage, "--socket: of another machine this must be an absolute path of letters, digits and "
                                    "./_-+");
    }
    if (list.hosts.size() > 1) {
        if (const int status = command.Prepare(here); status != ExitOk) {
            return status;
        }
    }
    const FleetOptions options{std::move(list.hosts),
                               program.client.socketPath,
                               program.sshOptions,
                               program.jobs,
                               Mdp::Milliseconds(static_cast<long long>(program.connectTimeout * 1000)),
                               here.json};
    const auto contextFor = [&](const Host& host, const Streams& streams) {
        Mdp::ClientOptions client = program.client;
        client.machine = host.Text();
        Context context{Mdp::Client(client), streams, here.json, here.language, here.jobTimeout};
        context.noticeAfter = here.noticeAfter;
        context.host = host.label;
        return context;
    };
    const auto work = [&](const Workplace& place) {
        Context context = contextFor(place.host, place.streams);
        Mdp::ClientOptions client = context.client.Options();
        client.socketPath = place.socket;
        context.client = Mdp::Client(client);
        context.report = place.report;
        if (const auto checked = CheckService(context.client, program.client.socketPath); !checked) {
            return context.Fail(checked.Error(), context.report != nullptr ? "" : context.host);
        }
        return RunCommand(command, context);
    };
    const auto failAlone = [&](const Host& host, const std::string& reason) {
        return contextFor(host, here.streams).Fail(Mdp::Error{Mdp::ErrorKind::Connect, 0, 0, reason}, host.label);
    };
    return RunOnHosts(options, here.streams, work, failAlone);
}

int RunWords(std::vector<std::string> words, Streams streams, Mdp::Milliseconds noticeAfter) {
    if (words.size() > 1 && words[0] == s_completeWord && words[1] == "--") {
        return RunCompletion({words.begin() + 2, words.end()}, streams);
    }
    Program program;
    const bool json = std::find(words.begin(), words.end(), "--json") != words.end();
    ParsedLine line = ParseCommandLine(program, std::move(words), streams);
    const auto language = ParseLanguage(program.language);
    if (line.command != nullptr && !language) {
        line.wrong = "--lang: \"" + program.language + "\" is not en, de or a language identifier such as 1033";
    }
    std::vector<std::string> hosts = program.hosts;
    if (line.command != nullptr && !line.command->NamedHost().empty()) {
        if (!hosts.empty()) {
            line.wrong = "the machine is named twice: leave out --host, or " + line.command->NamedHost() + ":";
        }
        hosts.push_back(line.command->NamedHost());
    }
    if (!line.wrong.empty()) {
        const Context context{Mdp::Client(program.client), streams, json};
        return context.Fail(ExitUsage, line.wrong);
    }
    if (line.command == nullptr) {
        return ExitOk;
    }
    ChooseColours(streams, program.colour);
    const Mdp::Milliseconds timeout(static_cast<long long>(program.timeout * 1000));
    if (timeout.count() > 0) {
        program.client.timeout = timeout;
    }
    ChooseColours(streams, program.colour);
    const Context context{Mdp::Client(program.client), streams, program.json, *language, timeout, false, noticeAfter};
    return hosts.empty() ? RunCommand(*line.command, context) : RunElsewhere(program, *line.command, context, hosts);
}

} // namespace

std::span<const CommandRow> Commands() {
    return s_commands;
}

void Context::BeginStream() {
    isStream = true;
    if (report != nullptr) {
        report->Tell(ReportKind::Stream, "");
    }
}

int Context::Fail(const Mdp::Error& error, const std::string& subject) const {
    const std::string advice = AdviceOn(error, host.empty());
    const std::string message = PrintableText(subject) + (subject.empty() ? "" : ": ") +
                                MessageOf(error, streams.errInColour && report == nullptr) +
                                (advice.empty() ? "" : "; ") + advice;
    Json told{{"kind", KindName(error.kind)}};
    if (!subject.empty()) {
        told.Add("subject", PrintableText(subject));
    }
    if (error.kind == Mdp::ErrorKind::Object) {
        told.Add("code", HexText(error.code, 8));
        told.Add("name", Mdp::CodeName(error.code));
        told.Add("text", Mdp::CodeText(error.code));
        if (!error.detail.empty()) {
            told.Add("detail", PrintableText(error.detail));
        }
    } else {
        told.Add("text", PrintableText(error.Message()));
    }
    TellFailure(message, told);
    return StatusOf(error.kind);
}

int Context::Fail(ExitStatus status, const std::string& message) const {
    TellFailure(PrintableText(message),
                {{"kind", status == ExitLocal ? "local" : "usage"}, {"text", PrintableText(message)}});
    return status;
}

int Context::FailRaw() const {
    return Fail(ExitUsage, "--raw is for one machine: the bytes of several could not be told apart");
}

void Context::TellFailure(const std::string& message, const Json& error) const {
    if (report != nullptr) {
        report->Tell(ReportKind::Failure, message);
        if (json) {
            report->Tell(ReportKind::ErrorObject, error.Text(isStream));
        }
    } else if (json) {
        Print({{"error", error}});
    } else {
        streams.err << "mdp: " << message << '\n';
    }
}

Mdp::CallOptions Context::JobOptions(const std::string& subject) const {
    Mdp::CallOptions options;
    options.timeout = jobTimeout;
    options.noticeAfter = noticeAfter;
    options.notice = [err = &streams.err, subject = PrintableText(subject)] {
        *err << "mdp: " << subject << ": waiting for the service, whose job still runs; --timeout limits the wait"
             << std::endl;
    };
    return options;
}

void Context::Print(const Json& told) const {
    if (report == nullptr) {
        streams.out << told.Text(isStream) << '\n';
    } else if (!isStream) {
        report->Tell(ReportKind::Document, told.Text(false));
    } else {
        Json line{{"host", host}};
        if (told.IsObject()) {
            line.AddAll(told);
        } else {
            line.Add("result", told);
        }
        streams.out << line.Text(true) << '\n';
    }
}

void Context::Show(const Table& table) const {
    if (report == nullptr || isStream) {
        table.Print(streams);
    } else {
        report->Tell(table);
    }
}

int RunMdp(std::vector<std::string> arguments, Streams streams, Mdp::Milliseconds noticeAfter) {
    try {
        return RunWords(std::move(arguments), streams, noticeAfter);
    } catch (const std::bad_alloc&) {
        streams.err << "mdp: there is not enough memory\n";
    } catch (const std::exception& error) {
        streams.err << "mdp: " << PrintableText(error.what()) << '\n';
    }
    return ExitLocal;
}

} // namespace MdpCommand
