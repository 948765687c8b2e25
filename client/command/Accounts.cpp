#include "Accounts.h"

#include <algorithm>
#include <ostream>

#include "Reader.h"
#include "Text.h"

namespace MdpCommand {
namespace {

constexpr std::uint16_t s_moduleTypeUsers = 4;

constexpr unsigned s_userNames = 1;
constexpr unsigned s_memberships = 3;
constexpr unsigned s_groups = 4;

Mdp::Result<Mdp::Module> FindUsers(const Context& context) {
    return FindModuleOf(context.client, s_moduleTypeUsers, "user management");
}

// The machine rebuilds its lists after each change of an account, also while they are read here: how often what does
// not belong together is read again.
constexpr int s_attempts = 10;

Mdp::Result<std::vector<std::string>> ReadTextsOnce(const Context& context, std::uint16_t index) {
    const auto count = context.client.Read(index, 0);
    if (!count) {
        return count.Error();
    }
    std::vector<std::string> texts;
    for (unsigned subIndex = 1; !count->empty() && subIndex <= count->front(); ++subIndex) {
        const auto bytes = context.client.Read(index, static_cast<std::uint8_t>(subIndex));
        // An entry that is empty has no data.
        if (!bytes && bytes.Error().code != Mdp::OBJ_E_NODATA) {
            return bytes.Error();
        }
        texts.push_back(bytes ? Mdp::DecodeValue(Mdp::TypeVisibleString, *bytes).text : std::string());
    }
    return texts;
}

Mdp::Result<std::vector<std::string>> ReadTexts(const Context& context, std::uint16_t index) {
    auto texts = ReadTextsOnce(context, index);
    // A list that has become shorter has no such entry any more.
    for (int i = 1; i < s_attempts && !texts && texts.Error().code == Mdp::OBJ_E_INVALIDIDX; ++i) {
        texts = ReadTextsOnce(context, index);
    }
    return texts;
}

void PutNumber(Secret& record, std::size_t number) {
    for (unsigned shift = 0; shift < 32; shift += 8) {
        record.Append(static_cast<char>(number >> shift & 0xFFU));
    }
}

} // namespace

Mdp::Result<std::vector<Account>> ListAccounts(const Context& context) {
    const auto module = FindUsers(context);
    if (!module) {
        return module.Error();
    }
    auto names = ReadTexts(context, module->Data(s_userNames));
    auto memberships = names;
    for (int i = 0; i < s_attempts && names; ++i) {
        memberships = ReadTexts(context, module->Data(s_memberships));
        auto namesAfterwards = ReadTexts(context, module->Data(s_userNames));
        const bool isOneState = namesAfterwards && *namesAfterwards == *names;
        names = std::move(namesAfterwards);
        if (isOneState || !memberships) {
            break;
        }
    }
    if (!names) {
        return names.Error();
    }
    if (!memberships) {
        return memberships.Error();
    }
    std::vector<Account> accounts;
    for (std::size_t i = 0; i < std::min(names->size(), memberships->size()); ++i) {
        const std::string& groups = (*memberships)[i];
        accounts.push_back({(*names)[i], groups.empty() ? std::vector<std::string>() : Split(groups, ';')});
    }
    return accounts;
}

Mdp::Result<std::vector<std::string>> ListGroups(const Context& context) {
    const auto module = FindUsers(context);
    return module ? ReadTexts(context, module->Data(s_groups)) : module.Error();
}

Mdp::Result<void> RunAccountService(const Context& context, AccountService service,
                                    const std::vector<const std::string*>& texts, const std::string& head,
                                    const std::string& subject) {
    const auto module = FindUsers(context);
    if (!module) {
        return module.Error();
    }
    std::size_t total = 4 + 4 * texts.size() + head.size();
    for (const std::string* text : texts) {
        total += text->size();
    }
    Secret record(total);
    PutNumber(record, total);
    for (const std::string* text : texts) {
        PutNumber(record, text->size());
    }
    record.Append(head);
    for (const std::string* text : texts) {
        record.Append(*text);
    }
    const std::string& bytes = record.Bytes();
    const auto response = context.client.CallService(
        module->Service(static_cast<unsigned>(service)),
        {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}, context.JobOptions(subject));
    if (!response) {
        return response.Error();
    }
    if (response->status.Failed()) {
        return Mdp::Error{Mdp::ErrorKind::Object, response->FailureCode(), 0, {}};
    }
    return {};
}

Mdp::Result<void> ChangeMembership(const Context& context, const std::string& group, const std::string& user,
                                   bool joins) {
    const std::string noDomain;
    return RunAccountService(context, AccountService::ChangeMembership, {&user, &group, &noDomain},
                             std::string(1, joins ? '\1' : '\0'), group);
}

int CallAccountService(const Context& context, AccountService service, const std::vector<const std::string*>& texts,
                       const std::string& subject, const std::string& done) {
    return TellOutcome(context, RunAccountService(context, service, texts, {}, subject), subject, done);
}

int TellOutcome(const Context& context, const Mdp::Result<void>& outcome, const std::string& subject,
                const std::string& done) {
    if (!outcome) {
        const int status = context.Fail(outcome.Error(), subject);
        const bool goesOn = outcome.Error().kind == Mdp::ErrorKind::Timeout && context.jobTimeout.count() > 0;
        return goesOn ? ExitRunning : status;
    }
    if (context.json) {
        context.Print({{"name", TextJson(subject)}, {"done", TextJson(done)}});
    } else {
        context.streams.out << PrintableText(subject) << ": " << done << '\n';
    }
    return ExitOk;
}

std::vector<Candidate> UserCandidates(const Context& context) {
    std::vector<Candidate> candidates;
    const auto accounts = ListAccounts(context);
    for (std::size_t i = 0; accounts && i < accounts->size(); ++i) {
        candidates.push_back({(*accounts)[i].name, (*accounts)[i].groups.empty() ? "" : (*accounts)[i].groups[0]});
    }
    return candidates;
}

std::vector<Candidate> GroupCandidates(const Context& context) {
    std::vector<Candidate> candidates;
    const auto groups = ListGroups(context);
    for (std::size_t i = 0; groups && i < groups->size(); ++i) {
        candidates.push_back({(*groups)[i], ""});
    }
    return candidates;
}

} // namespace MdpCommand
