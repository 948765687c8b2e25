#include "Completion.h"

#include <algorithm>
#include <ostream>

#include "Program.h"
#include "Text.h"

namespace MdpCommand {
namespace {

// A shell that asks must not hang.
constexpr Mdp::Milliseconds s_patience{2000};

void AddOptions(std::vector<Candidate>& candidates, const CLI::App* app) {
    if (app == nullptr) {
        return;
    }
    for (const CLI::Option* option : app->get_options()) {
        for (const std::string& name : option->get_lnames()) {
            candidates.push_back({"--" + name, option->get_description()});
        }
    }
}

std::vector<Candidate> OptionValues(const CLI::Option& option) {
    if (option.check_lname("lang")) {
        return {{"en", "English"}, {"de", "German"}};
    }
    if (option.check_lname("socket") || option.check_lname("file")) {
        return {{s_completeFiles, ""}};
    }
    return {};
}

} // namespace

std::vector<Candidate> CompleteAddress(const Context& context, const std::string& word) {
    std::vector<Candidate> candidates;
    if (const std::size_t colon = word.find(':'); colon != std::string::npos) {
        const auto address = ParseAddress(word.substr(0, colon));
        const auto object = address ? context.client.DescribeObject(address->index, context.language)
                                    : Mdp::Result<Mdp::ObjectDescription>(Mdp::Error{});
        for (unsigned subIndex = 0; object && subIndex < object->itemCount; ++subIndex) {
            const auto entry =
                context.client.DescribeEntry(address->index, static_cast<std::uint8_t>(subIndex), context.language);
            candidates.push_back({word.substr(0, colon + 1) + std::to_string(subIndex), entry ? entry->name : ""});
        }
        return candidates;
    }
    const auto indexes = context.client.ListObjects();
    for (std::size_t i = 0; indexes && i < indexes->size(); ++i) {
        const auto object = context.client.DescribeObject((*indexes)[i], context.language);
        candidates.push_back({IndexText((*indexes)[i]), object ? object->name : ""});
    }
    return candidates;
}

int RunCompletion(const std::vector<std::string>& words, Streams streams) {
    Program program;
    const CLI::App* sub = nullptr;
    Command* command = nullptr;
    const CLI::Option* valueOf = nullptr;
    std::vector<std::string> positionals;
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        const std::string& word = words[i];
        if (valueOf != nullptr) {
            if (valueOf->check_lname("socket")) {
                program.client.socketPath = word;
            }
            valueOf = nullptr;
        } else if (word.starts_with('-')) {
            const CLI::Option* option = program.FindOption(sub, word);
            valueOf = option != nullptr && option->get_items_expected() > 0 ? option : nullptr;
        } else if (sub == nullptr) {
            const auto found = std::find_if(program.commands.begin(), program.commands.end(),
                                            [&](const auto& entry) { return entry.first->get_name() == word; });
            if (found == program.commands.end()) {
                return ExitOk;
            }
            sub = found->first;
            command = found->second.get();
        } else {
            positionals.push_back(word);
        }
    }
    const std::string word = words.empty() ? "" : words.back();

    std::vector<Candidate> candidates;
    if (valueOf != nullptr) {
        candidates = OptionValues(*valueOf);
    } else if (word.starts_with('-')) {
        AddOptions(candidates, sub);
        AddOptions(candidates, &program.app);
    } else if (command == nullptr) {
        for (const CommandRow& row : Commands()) {
            candidates.push_back({row.name, row.summary});
        }
    } else {
        program.client.timeout = s_patience;
        const Context context{Mdp::Client(program.client), streams};
        candidates = command->Complete(context, positionals, word);
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
