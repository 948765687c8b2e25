#include "CommandLine.h"

#include <algorithm>
#include <map>
#include <sstream>

#include <CLI/CLI.hpp>

// The one place that knows the command line library, whose headers are heavy.

namespace MdpCommand {
namespace {

constexpr const char* s_summary = "Reads and changes a machine through its object dictionary";

constexpr const char* s_footer =
    R"(INDEX and SUB: an object's index in hexadecimal digits (8011 or 0x8011) and an entry's
number in decimal digits.

Exit status: 0 done; 1 the service answered with an error code; 2 the command line
cannot be used; 3 the service cannot be reached, or gave no answer; 4 a file on this
side could not be read or written; 5 the time of --timeout is over, and the job may go on.
With several machines: 6 the command failed on some; 7 it did not, but some could not be
reached or gave no answer.)";

constexpr const char* s_commandFooter =
    "All commands take --host [USER@]HOST,..., --socket PATH, --json, --lang LANGUAGE, --color WHEN and\n"
    "--timeout SECONDS.";

std::string NumberText(double number) {
    std::ostringstream text;
    text.precision(15);
    text << number;
    return text.str();
}

// CLI::Range would take "nan".
CLI::Validator NumberIn(const NumberRange& limits) {
    const std::string range = "from " + NumberText(limits.low) + " to " + NumberText(limits.high);
    return {[=](std::string& text) {
                double number = 0;
                const bool isIn =
                    CLI::detail::lexical_cast(text, number) && number >= limits.low && number <= limits.high;
                return isIn ? std::string() : text + " is not a number " + range;
            },
            range};
}

// Makes the library's option of an argument, by the type of its target.
struct OptionMaker {
    CLI::App& app;
    const Argument& argument;

    CLI::Option* operator()(std::monostate) const {
        return argument.kind == ArgumentKind::Version
                   ? app.set_version_flag(argument.names, "mdp " MDP_VERSION, argument.description)
                   : app.set_help_flag(argument.names, argument.description);
    }

    // Each time such an option is given it takes one text.
    CLI::Option* operator()(std::vector<std::string>* target) const {
        CLI::Option* option = app.add_option(argument.names, *target, argument.description);
        return argument.kind == ArgumentKind::Option ? option->allow_extra_args(false) : option;
    }

    CLI::Option* operator()(bool* target) const { return app.add_flag(argument.names, *target, argument.description); }

    template <typename Value>
    CLI::Option* operator()(Value* target) const {
        return app.add_option(argument.names, *target, argument.description);
    }

    CLI::Option* operator()(const TakeText& take) const {
        const std::string& names = argument.names;
        return app.add_option_function<std::string>(
            names,
            [take, names](std::string text) {
                if (const std::string wrong = take(text); !wrong.empty()) {
                    throw CLI::ValidationError(names, wrong);
                }
            },
            argument.description);
    }
};

void Add(CLI::App& app, const Arguments& arguments) {
    std::map<const Argument*, CLI::Option*> options;
    for (const Argument& argument : arguments.All()) {
        CLI::Option* option = std::visit(OptionMaker{app, argument}, argument.target);
        options.emplace(&argument, option);
        if (argument.required) {
            option->required();
        }
        if (argument.showsDefault) {
            option->capture_default_str();
        }
        if (argument.take) {
            option->transform({argument.take, ""});
        }
        if (!argument.words.empty()) {
            option->check(CLI::IsMember(argument.words));
        }
        if (argument.range) {
            option->check(NumberIn(*argument.range));
        }
        for (const Argument* other : argument.needed) {
            option->needs(options.at(other));
        }
        for (const Argument* other : argument.excluded) {
            option->excludes(options.at(other));
        }
    }
}

bool IsNegativeNumber(const std::string& word) {
    return word.size() > 1 && word[0] == '-' && (word[1] == '.' || (word[1] >= '0' && word[1] <= '9'));
}

// The library could take the negative value of a write for an option: behind "--" it cannot.
void ProtectNegativeValue(const Program& program, std::vector<std::string>& words) {
    bool isWrite = false;
    bool isValue = false; // of the option in front
    for (auto word = words.begin(); word != words.end(); ++word) {
        if (isValue) {
            isValue = false;
        } else if (!word->starts_with('-')) {
            isWrite = isWrite || *word == "write";
            if (!isWrite) {
                return;
            }
        } else if (*word == "--") {
            return;
        } else if (isWrite && word + 1 == words.end() && IsNegativeNumber(*word)) {
            words.insert(word, "--");
            return;
        } else {
            const Argument* option = program.common.Find(*word);
            isValue = option != nullptr && option->TakesValue();
        }
    }
}

std::string UsageText(const CLI::App& app, const CLI::ParseError& error) {
    if (error.get_name() != "RequiredError" || !app.get_subcommands().empty()) {
        const std::string asked = app.get_subcommands().empty() ? "mdp" : "mdp " + app.get_subcommands()[0]->get_name();
        return std::string(error.what()) + "; " + asked + " --help tells how it is written";
    }
    const std::vector<std::string> unknown = app.remaining();
    if (unknown.empty()) {
        return "there is no command; mdp --help lists them";
    }
    return (unknown[0].starts_with('-') ? "there is no option " : "there is no command ") + unknown[0] +
           "; mdp --help lists them";
}

} // namespace

ParsedLine ParseCommandLine(const Program& program, std::vector<std::string> words, const Streams& streams) {
    CLI::App app(s_summary, "mdp");
    app.footer(s_footer);
    app.require_subcommand(1);
    app.fallthrough();
    Add(app, program.common);
    for (const ProgramCommand& command : program.commands) {
        CLI::App* sub = app.add_subcommand(command.name, command.summary);
        sub->footer(s_commandFooter);
        // Making all options of all commands would take as long as a short command does.
        if (std::find(words.begin(), words.end(), command.name) != words.end()) {
            Add(*sub, command.arguments);
        }
    }
    try {
        ProtectNegativeValue(program, words);
        std::reverse(words.begin(), words.end());
        app.parse(words);
    } catch (const CLI::Success& asked) {
        (void)app.exit(asked, streams.out, streams.err);
        return {};
    } catch (const CLI::ParseError& error) {
        return {nullptr, UsageText(app, error)};
    }
    return {program.Find(app.get_subcommands().front()->get_name())->command.get(), ""};
}

} // namespace MdpCommand
