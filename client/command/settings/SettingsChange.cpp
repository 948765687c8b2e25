#include "settings/SettingsChange.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "TimeModule.h"

namespace MdpCommand {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds s_pause{200}; // between two looks

Mdp::Bytes BytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

// The names may have other numbers than at the last look: a service may have been started anew.
Mdp::Result<Mdp::Module> FindAdapter(const Context& context, const std::string& name) {
    auto modules = ListAdapters(context.client);
    if (!modules) {
        return modules.Error();
    }
    for (Mdp::Module& module : *modules) {
        if (module.name == name) {
            return std::move(module);
        }
    }
    return Mdp::Error{Mdp::ErrorKind::Argument, 0, 0, "the adapter " + name + " is gone"};
}

Mdp::Result<void> SetZone(const Context& context, const std::string& zone) {
    const auto module = TimeModule::Find(context.client);
    if (!module) {
        return module.Error();
    }
    const auto zones = module->ListZones();
    if (!zones) {
        return zones.Error();
    }
    const auto found = std::find(zones->begin(), zones->end(), zone);
    if (found == zones->end()) {
        return Mdp::Error{Mdp::ErrorKind::Argument, 0, 0, "the zone " + zone + " is gone"};
    }
    return module->WriteNumber(TimeModule::SubZone, static_cast<std::uint64_t>(found - zones->begin()), 2);
}

Mdp::Result<void> SetNtp(const Context& context, const NtpSettings& ntp, const std::string& item) {
    const auto module = TimeModule::Find(context.client);
    if (!module) {
        return module.Error();
    }
    if (item == "server") {
        return module->WriteText(TimeModule::SubNtpServer, ntp.server.empty() ? TimeModule::NoServer : ntp.server);
    }
    return module->WriteNumber(TimeModule::SubNtpRefresh, ntp.refresh.value_or(0), 4);
}

// Only what is missing, so that it can be given again.
Mdp::Result<void> SetGroupNow(const Context& context, const std::string& group, const GroupMembers& wanted) {
    const std::string noDomain;
    ReadFailure failure;
    const auto machine = ReadMachineSettings(context, SettingsChoice(Section::Groups), failure);
    if (!machine) {
        return failure.error;
    }
    if (!wanted) {
        return RunAccountService(context, AccountService::DeleteGroup, {&group, &noDomain}, {}, group);
    }
    if (!machine->HasGroup(group)) {
        if (auto added = RunAccountService(context, AccountService::AddGroup, {&group, &noDomain}, {}, group); !added) {
            return added;
        }
    }
    for (const std::string& user : *wanted) {
        if (machine->MembershipOf(user, group) != Membership::None) {
            continue;
        }
        if (auto joined = ChangeMembership(context, group, user, true); !joined) {
            return joined;
        }
    }
    for (const std::string& user : machine->MembersOf(group)) {
        if (std::find(wanted->begin(), wanted->end(), user) != wanted->end()) {
            continue;
        }
        if (auto left = ChangeMembership(context, group, user, false); !left) {
            return left;
        }
    }
    return {};
}

Mdp::Result<void> SetGroup(const Context& context, const std::string& group, const GroupMembers& wanted) {
    Mdp::Result<void> set = SetGroupNow(context, group, wanted);
    if (set || set.Error().kind != Mdp::ErrorKind::Object) {
        return set;
    }
    const Mdp::Code contradictions[] = {Mdp::OBJ_E_GROUPEXISTS, Mdp::OBJ_E_NOSUCHGROUP, Mdp::OBJ_E_NOSUCHUSER};
    if (std::find(std::begin(contradictions), std::end(contradictions), set.Error().code) == std::end(contradictions)) {
        return set;
    }
    Mdp::Error told = set.Error();
    told.detail = "others have changed the accounts since the service read them; start the service anew";
    return told;
}

Mdp::Result<void> SetDns(const Context& context, const std::vector<std::string>& servers) {
    const auto modules = ListAdapters(context.client);
    if (!modules || modules->empty()) {
        return modules ? Mdp::Error{Mdp::ErrorKind::Argument, 0, 0, "the adapters are gone"} : modules.Error();
    }
    std::string text;
    for (const std::string& server : servers) {
        text += (text.empty() ? "" : ",") + server;
    }
    return WriteAdapterText(context.client, modules->front(), Adapter::SubDns, text.empty() ? "NO" : text);
}

Mdp::Result<void> SetGateway(const Context& context, const Step& step) {
    const auto module = FindAdapter(context, step.adapter);
    if (!module) {
        return module.Error();
    }
    // With its terminator: the service lets a text go that is the one it showed last, which is that of the route in
    // force, while the configuration may hold another or none.
    const std::string text = step.gateway->empty() ? s_noAddress : *step.gateway;
    return WriteAdapterText(context.client, *module, Adapter::SubGateway, text + '\0');
}

Mdp::Result<void> SetAdapter(const Context& context, const Step& step, const AdapterSettings& wanted) {
    const auto module = FindAdapter(context, step.differences.front().item);
    if (!module) {
        return module.Error();
    }
    if (wanted.dhcp) {
        return WriteAdapterDhcp(context.client, *module);
    }
    const std::string gateway = !step.gateway ? "" : step.gateway->empty() ? s_noAddress : *step.gateway;
    return SetAdapterAddress(context, *module, wanted.address, wanted.mask, gateway);
}

Mdp::Result<void> Perform(const Context& context, const Settings& wanted, const Step& step) {
    const Difference& difference = step.differences.front();
    switch (difference.section) {
    case Section::Name:
        return context.client.Write(s_deviceName, 0, BytesOf(*wanted.name));
    case Section::Zone:
        return SetZone(context, *wanted.zone);
    case Section::Ntp:
        return SetNtp(context, *wanted.ntp, difference.item);
    case Section::Groups:
        return SetGroup(context, difference.item, wanted.groups->at(difference.item));
    case Section::Dns:
        return SetDns(context, *wanted.dns);
    case Section::Gateway:
        return SetGateway(context, step);
    case Section::Net:
        break;
    }
    return SetAdapter(context, step, wanted.net->at(difference.item));
}

// The service, or the way to it, may come back.
bool IsLoss(const Mdp::Error& error) {
    return error.kind != Mdp::ErrorKind::Object && error.kind != Mdp::ErrorKind::Argument;
}

// What a user can do about a setting that the machine takes and does not show.
std::string Remedy(const Difference& difference) {
    if (difference.place == "ntp.server") {
        return "; its /etc/ntp.conf must have a line that begins with pool";
    }
    return difference.section == Section::Net || difference.section == Section::Gateway
               ? "; look at the adapters (mdp net) and at the log of the machine"
               : "; look at the log of the machine";
}

class Runner {
public:
    Runner(const Context& context, const Settings& wanted, const Step& step)
        : m_context(context), m_wanted(wanted), m_step(step),
          m_choice(Own().section, Own().section == Section::Net ? Own().item : "") {}

    StepOutcome Run(Mdp::Milliseconds atMost) {
        const auto end = Clock::now() + atMost;
        for (;;) {
            if (std::optional<StepOutcome> outcome = Look(); outcome) {
                return *outcome;
            }
            if (m_state == State::NotWritten || (m_state == State::Lost && m_isAnswering)) {
                if (std::optional<StepOutcome> outcome = Write(); outcome) {
                    return *outcome;
                }
                if (m_state == State::Written) {
                    continue; // mostly it is there already
                }
            }
            if (Clock::now() > end) {
                return {false, m_last, m_state == State::Lost, true};
            }
            std::this_thread::sleep_for(s_pause);
        }
    }

private:
    enum class State { NotWritten, Written, Lost };

    const Difference& Own() const { return m_step.differences.front(); }

    // A restart of the network goes on in the background.
    bool TakesTime() const { return Own().section == Section::Net || Own().section == Section::Gateway; }

    // Looks whether the change is there. What it gives is the end.
    std::optional<StepOutcome> Look() {
        if (m_state == State::NotWritten) {
            return std::nullopt;
        }
        ReadFailure failure;
        const auto machine = ReadMachineSettings(m_context, m_choice, failure);
        m_isAnswering = machine.has_value();
        if (!machine) {
            m_last = failure.error;
            if (IsLoss(failure.error)) {
                m_state = State::Lost;
                return std::nullopt;
            }
            return TakesTime() ? std::nullopt : std::optional(StepOutcome{false, failure.error});
        }
        const Difference* left = nullptr;
        const std::vector<Difference> all = CompareSettings(m_wanted, *machine);
        for (const Difference& difference : all) {
            left = difference.place == Own().place ? &difference : left;
        }
        if (left == nullptr) {
            return StepOutcome{true, {}};
        }
        if (m_state == State::Written && m_refusal.kind != Mdp::ErrorKind::Object) {
            m_last = {Mdp::ErrorKind::Argument, 0, 0,
                      "the machine took it, but shows " + left->fromWords + Remedy(*left)};
            return TakesTime() ? std::nullopt : std::optional(StepOutcome{false, m_last});
        }
        return std::nullopt;
    }

    std::optional<StepOutcome> Write() {
        const Mdp::Result<void> written = Perform(m_context, m_wanted, m_step);
        if (written) {
            m_state = State::Written;
            return std::nullopt;
        }
        m_last = written.Error();
        if (IsLoss(written.Error())) {
            m_state = State::Lost;
            return std::nullopt;
        }
        // The configured router is gone, and the route to it may be on its way.
        if (Own().section == Section::Gateway && m_step.gateway->empty()) {
            m_refusal = written.Error();
            m_state = State::Written;
            return std::nullopt;
        }
        return StepOutcome{false, written.Error()};
    }

    const Context& m_context;
    const Settings& m_wanted;
    const Step& m_step;
    const SettingsChoice m_choice;
    State m_state = State::NotWritten;
    bool m_isAnswering = false;
    Mdp::Error m_refusal{Mdp::ErrorKind::Argument, 0, 0, ""};
    Mdp::Error m_last;
};

} // namespace

StepOutcome RunStep(const Context& context, const Settings& wanted, const Step& step, Mdp::Milliseconds atMost) {
    return Runner(context, wanted, step).Run(atMost);
}

} // namespace MdpCommand
