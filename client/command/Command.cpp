#include "Command.h"

#include <array>
#include <cmath>
#include <map>
#include <ostream>

#include <fmt/format.h>

#include "Commands.h"
#include "Text.h"

namespace MdpCommand {
namespace {

constexpr std::array s_commands{
    CommandRow{"modules", "list the modules of the machine", MakeModulesCommand},
    CommandRow{"read", "read an object or one of its entries", MakeReadCommand},
    CommandRow{"write", "write one entry", MakeWriteCommand},
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
    }
    return "";
}

ExitStatus StatusOf(Mdp::ErrorKind kind) {
    switch (kind) {
    case Mdp::ErrorKind::Object:
        return ExitObject;
    case Mdp::ErrorKind::Argument:
        return ExitUsage;
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
    streams.out << told.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

int RunMdp(std::vector<std::string> arguments, Streams streams) {
    CLI::App app("Reads and changes a machine through its object dictionary", "mdp");
    app.footer(s_footer);
    app.require_subcommand(1);
    app.fallthrough();

    Mdp::ClientOptions clientOptions;
    double timeout = 0;
    bool json = false;
    std::string language;
    app.add_option("--socket", clientOptions.socketPath, "the socket of the service")->capture_default_str();
    app.add_flag("--json", json, "print JSON");
    app.add_option("--lang", language, "language of names: en, de or a language identifier (LCID)");
    const CLI::Option* timeoutOption =
        app.add_option("--timeout", timeout, "seconds to wait for an answer (30 if not given) or a job (no limit)");

    std::map<const CLI::App*, std::unique_ptr<Command>> made;
    for (const CommandRow& row : s_commands) {
        CLI::App* sub = app.add_subcommand(row.name, row.summary);
        sub->footer("All commands take --socket PATH, --json, --lang LANGUAGE and --timeout SECONDS.");
        std::unique_ptr<Command> command = row.make();
        command->AddOptions(*sub);
        made.emplace(sub, std::move(command));
    }

    Mdp::Milliseconds jobTimeout{0};
    std::uint32_t languageId = Mdp::LanguageDefault;
    try {
        ProtectNegativeNumbers(arguments);
        std::reverse(arguments.begin(), arguments.end());
        app.parse(arguments);
        languageId = ParseLanguage(language);
        if (timeoutOption->count() > 0) {
            constexpr double longest = 1e9;
            if (!(timeout > 0) || timeout > longest) {
                throw CLI::ValidationError("--timeout", "the time must be more than 0 seconds");
            }
            jobTimeout = Mdp::Milliseconds(static_cast<long long>(std::ceil(timeout * 1000)));
            clientOptions.timeout = jobTimeout;
        }
    } catch (const CLI::ParseError& error) {
        return app.exit(error, streams.out, streams.err) == 0 ? ExitOk : ExitUsage;
    }
    Context context{Mdp::Client(clientOptions), streams, json, languageId, jobTimeout};
    const int status = made.at(app.get_subcommands().front())->Run(context);
    streams.out.flush();
    if (!streams.out && status == ExitOk) {
        streams.err << "mdp: the output could not be written\n";
        return ExitLocal;
    }
    return status;
}

} // namespace MdpCommand
