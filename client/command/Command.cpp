#include "Command.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <ostream>

#include <fmt/format.h>

#include "Commands.h"
#include "Completion.h"
#include "Program.h"
#include "Text.h"

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
    CommandRow{"ls", "list files of the machine", MakeListCommand},
    CommandRow{"get", "fetch files from the machine", MakeGetCommand},
    CommandRow{"put", "send a file to the machine", MakePutCommand},
    CommandRow{"cp", "copy files on the machine", MakeCopyCommand},
    CommandRow{"mv", "move or rename files on the machine", MakeMoveCommand},
    CommandRow{"rm", "delete files or directories of the machine", MakeRemoveCommand},
    CommandRow{"mkdir", "make a directory on the machine", MakeMakeDirectoryCommand},
};

constexpr const char* s_footer =
    R"(INDEX and SUB: an object's index in hexadecimal digits (8011 or 0x8011) and an entry's
number in decimal digits.

Exit status: 0 done; 1 the service answered with an error code; 2 the command line
cannot be used; 3 the service cannot be reached, or gave no answer; 4 a file on this
side could not be read or written; 5 the job still runs after --timeout.)";

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

// What a user can do about a failure to reach the service.
const char* Advice(const Mdp::Error& error) {
    if (error.kind != Mdp::ErrorKind::Connect) {
        return "";
    }
    return error.systemError == EACCES ? "; run mdp as a user who may use the socket"
                                       : "; is the service running? --socket tells another path";
}

std::uint32_t ParseLanguage(const std::string& text) {
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
    if (!number) {
        throw CLI::ValidationError("--lang", "\"" + text + "\" is not en, de or a language identifier such as 1033");
    }
    return static_cast<std::uint32_t>(*number);
}

// CLI11 would take a negative number for an option: behind "--" it cannot.
void ProtectNegativeNumbers(std::vector<std::string>& arguments) {
    if (arguments.empty()) {
        return;
    }
    const std::string& last = arguments.back();
    const bool negative = last.size() > 1 && last[0] == '-' && (last[1] == '.' || (last[1] >= '0' && last[1] <= '9'));
    const bool protectedAlready = std::find(arguments.begin(), arguments.end(), "--") != arguments.end();
    if (negative && !protectedAlready) {
        arguments.insert(arguments.end() - 1, "--");
    }
}

} // namespace

std::span<const CommandRow> Commands() {
    return s_commands;
}

int Context::Fail(const Mdp::Error& error, const std::string& subject) const {
    if (json) {
        Json told{{"kind", KindName(error.kind)}};
        if (!subject.empty()) {
            told["subject"] = PrintableText(subject);
        }
        if (error.kind == Mdp::ErrorKind::Object) {
            told["code"] = fmt::format("0x{:08X}", error.code);
            told["name"] = Mdp::CodeName(error.code);
            told["text"] = Mdp::CodeText(error.code);
        } else {
            told["text"] = PrintableText(error.Message());
        }
        Print({{"error", told}});
    } else {
        streams.err << "mdp: " << PrintableText(subject) << (subject.empty() ? "" : ": ")
                    << PrintableText(error.Message()) << Advice(error) << '\n';
    }
    return StatusOf(error.kind);
}

int Context::Fail(ExitStatus status, const std::string& message) const {
    if (json) {
        Print({{"error", {{"kind", status == ExitLocal ? "local" : "usage"}, {"text", PrintableText(message)}}}});
    } else {
        streams.err << "mdp: " << PrintableText(message) << '\n';
    }
    return status;
}

void Context::Print(const Json& told) const {
    // All texts were made well-formed before; "replace" only keeps a slip from being an exception.
    streams.out << told.dump(isStream ? -1 : 2, ' ', false, Json::error_handler_t::replace) << '\n';
}

Program::Program() : app("Reads and changes a machine through its object dictionary", "mdp") {
    app.footer(s_footer);
    app.require_subcommand(1);
    app.fallthrough();
    app.add_option("--socket", client.socketPath, "the socket of the service")->capture_default_str();
    app.add_flag("--json", json, "print JSON");
    app.add_option("--lang", language, "language of names: en, de or a language identifier (LCID)");
    app.add_option("--timeout", timeout, "seconds to wait for an answer (30 if not given) or a job (no limit)")
        ->check(CLI::Range(0.001, 1e9));
    for (const CommandRow& row : s_commands) {
        CLI::App* sub = app.add_subcommand(row.name, row.summary);
        sub->footer("All commands take --socket PATH, --json, --lang LANGUAGE and --timeout SECONDS.");
        std::unique_ptr<Command> command = row.make();
        command->AddOptions(*sub);
        commands.emplace(sub, std::move(command));
    }
}

Command& Program::Chosen() const {
    return *commands.at(app.get_subcommands().front());
}

int RunMdp(std::vector<std::string> arguments, Streams streams) {
    if (arguments.size() > 1 && arguments[0] == s_completeWord && arguments[1] == "--") {
        return RunCompletion({arguments.begin() + 2, arguments.end()}, streams);
    }
    Program program;
    std::uint32_t language = Mdp::LanguageDefault;
    try {
        ProtectNegativeNumbers(arguments);
        std::reverse(arguments.begin(), arguments.end());
        program.app.parse(arguments);
        language = ParseLanguage(program.language);
    } catch (const CLI::ParseError& error) {
        return program.app.exit(error, streams.out, streams.err) == 0 ? ExitOk : ExitUsage;
    }
    const Mdp::Milliseconds timeout(static_cast<long long>(program.timeout * 1000));
    if (timeout.count() > 0) {
        program.client.timeout = timeout;
    }
    const int status = program.Chosen().Run({Mdp::Client(program.client), streams, program.json, language, timeout});
    streams.out.flush();
    if (!streams.out && status == ExitOk) {
        streams.err << "mdp: the output could not be written\n";
        return ExitLocal;
    }
    return status;
}

} // namespace MdpCommand
