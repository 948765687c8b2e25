#include "Completion.h"

#include <ostream>

#include "ObjectView.h"
#include "Program.h"
#include "Text.h"

namespace MdpCommand {
namespace {

// A shell that asks must not hang.
constexpr Mdp::Milliseconds s_patience{2000};

void AddOptions(std::vector<Candidate>& candidates, const Arguments& arguments) {
    for (const Argument& argument : arguments.All()) {
        for (const std::string& name : argument.OptionNames()) {
            if (name.starts_with("--")) {
                candidates.push_back({name, argument.description});
            }
        }
    }
}

} // namespace

std::vector<Candidate> CompleteAddress(const Context& context, const std::string& word) {
    std::vector<Candidate> candidates;
    if (const std::size_t colon = word.find(':'); colon != std::string::npos) {
        const auto address = ParseAddress(word.substr(0, colon));
        const auto object = address ? DescribeObject(context.client, address->index, context.language)
                                    : Mdp::Result<Mdp::ObjectDescription>(Mdp::Error{});
        for (unsigned subIndex = 0; object && subIndex < object->itemCount; ++subIndex) {
            const auto entry =
                DescribeEntry(context.client, address->index, static_cast<std::uint8_t>(subIndex), context.language);
            candidates.push_back({word.substr(0, colon + 1) + std::to_string(subIndex), entry ? entry->name : ""});
        }
        return candidates;
    }
    const auto indexes = context.client.ListObjects();
    for (std::size_t i = 0; indexes && i < indexes->size(); ++i) {
        const auto object = DescribeObject(context.client, (*indexes)[i], context.language);
        candidates.push_back({IndexText((*indexes)[i]), object ? object->name : ""});
    }
    return candidates;
}

int RunCompletion(const std::vector<std::string>& words, Streams streams) {
    Program program;
    const ProgramCommand* command = nullptr;
    const Argument* valueOf = nullptr;
    std::vector<std::string> positionals;
    bool isElsewhere = false;
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        const std::string& word = words[i];
        isElsewhere = isElsewhere || word == "--host" || word.starts_with("--host=");
        if (valueOf != nullptr) {
            if (valueOf->IsNamed("--socket")) {
                program.client.socketPath = word;
            }
            valueOf = nullptr;
        } else if (word.starts_with('-')) {
            const Argument* option = command != nullptr ? command->arguments.Find(word) : nullptr;
            option = option != nullptr ? option : program.common.Find(word);
            valueOf = option != nullptr && option->TakesValue() ? option : nullptr;
        } else if (command == nullptr) {
            command = program.Find(word);
            if (command == nullptr) {
                return ExitOk;
            }
        } else {
            positionals.push_back(word);
        }
    }
    const std::string word = words.empty() ? "" : words.back();

    std::vector<Candidate> candidates;
    if (valueOf != nullptr) {
        candidates = valueOf->candidates;
    } else if (word.starts_with('-')) {
        if (command != nullptr) {
            AddOptions(candidates, command->arguments);
        }
        AddOptions(candidates, program.common);
    } else if (command == nullptr) {
        for (const ProgramCommand& row : program.commands) {
            candidates.push_back({row.name, row.summary});
        }
    } else {
        program.client.timeout = s_patience;
        // What this machine has is none of another's, and a shell that asks must not wait for ssh.
        if (isElsewhere) {
            program.client.socketPath.clear();
        }
        const Context context{Mdp::Client(program.client), streams};
        candidates = command->command->Complete(context, positionals, word);
    }
    for (const Candidate& candidate : candidates) {
        // A name with control characters in it has no form that a shell takes in one line.
        const bool plain = candidate.text == s_completeFiles || PrintableText(candidate.text) == candidate.text;
        if (plain && (candidate.text == s_completeFiles || candidate.text.starts_with(word))) {
            streams.out << candidate.text << '\t' << PrintableText(candidate.description) << '\n';
        }
    }
    return ExitOk;
}

} // namespace MdpCommand
