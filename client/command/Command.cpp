#include "Command.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
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
side could not be read or written; 5 the time of --timeout is over, and the job may go on.)";

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

// What a user can do about a failure to reach the service, and what no answer means.
const char* Advice(const Mdp::Error& error) {
    if (error.kind == Mdp::ErrorKind::Timeout) {
        return "; what was asked for may still be done";
    }
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

bool IsNegativeNumber(const std::string& word) {
    return word.size() > 1 && word[0] == '-' && (word[1] == '.' || (word[1] >= '0' && word[1] <= '9'));
}

// CLI11 could take the negative value of a write for an option: behind "--" it cannot.
void ProtectNegativeValue(const Program& program, std::vector<std::string>& arguments) {
    bool isWrite = false;
    bool isValue = false; // of the option in front
    for (auto word = arguments.begin(); word != arguments.end(); ++word) {
        if (isValue) {
            isValue = false;
        } else if (!word->starts_with('-')) {
            isWrite = isWrite || *word == "write";
            if (!isWrite) {
                return;
            }
        } else if (*word == "--") {
            return;
        } else if (isWrite && word + 1 == arguments.end() && IsNegativeNumber(*word)) {
            arguments.insert(word, "--");
            return;
        } else {
            const CLI::Option* option = program.FindOption(nullptr, *word);
            isValue = option != nullptr && option->get_items_expected() > 0;
        }
    }
}

std::string UsageText(const CLI::App& app, const CLI::ParseError& error) {
    if (error.get_name() != "RequiredError" || !app.get_subcommands().empty()) {
        return error.what();
    }
    const std::vector<std::string> unknown = app.remaining();
    if (unknown.empty()) {
        return "there is no command; mdp --help lists them";
    }
    return (unknown[0].starts_with('-') ? "there is no option " : "there is no command ") + unknown[0] +
           "; mdp --help lists them";
}

int RunWords(std::vector<std::string> arguments, Streams streams) {
    if (arguments.size() > 1 && arguments[0] == s_completeWord && arguments[1] == "--") {
        return RunCompletion({arguments.begin() + 2, arguments.end()}, streams);
    }
    Program program;
    const bool json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
    std::uint32_t language = Mdp::LanguageDefault;
    try {
        ProtectNegativeValue(program, arguments);
        std::reverse(arguments.begin(), arguments.end());
        program.app.parse(arguments);
        language = ParseLanguage(program.language);
    } catch (const CLI::Success& asked) {
        (void)program.app.exit(asked, streams.out, streams.err);
        return ExitOk;
    } catch (const CLI::ParseError& error) {
        const Context context{Mdp::Client(program.client), streams, json};
        return context.Fail(ExitUsage, UsageText(program.app, error));
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
    app.set_version_flag("--version", "mdp " MDP_VERSION, "show the version");
    app.add_option("--socket", client.socketPath, "the socket of the service")->capture_default_str();
    app.add_flag("--json", json, "print JSON");
    app.add_option("--lang", language, "language of names: en, de or a language identifier (LCID)");
    app.add_option("--timeout", timeout, "seconds to wait for an answer (30 if not given) or a job (no limit)")
        ->check(NumberIn(0.001, 1e9));
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

const CLI::Option* Program::FindOption(const CLI::App* sub, const std::string& word) const {
    for (const CLI::App* owner : {sub, &app}) {
        if (owner == nullptr) {
            continue;
        }
        for (const CLI::Option* option : owner->get_options()) {
            if (option->check_name(word)) {
                return option;
            }
        }
    }
    return nullptr;
}

int RunMdp(std::vector<std::string> arguments, Streams streams) {
    try {
        return RunWords(std::move(arguments), streams);
    } catch (const std::bad_alloc&) {
        streams.err << "mdp: there is not enough memory\n";
    } catch (const std::exception& error) {
        streams.err << "mdp: " << PrintableText(error.what()) << '\n';
    }
    return ExitLocal;
}

} // namespace MdpCommand
