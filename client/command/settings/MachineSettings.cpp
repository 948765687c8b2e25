#include "settings/MachineSettings.h"

#include <algorithm>

#include "Text.h"
#include "TimeModule.h"
#include "settings/SettingsDocument.h"

namespace MdpCommand {
namespace {

// What is wrong with one section.
template <typename Value>
std::vector<Fault> FaultsOf(std::optional<Value> Settings::*section, Value value) {
    Settings settings;
    settings.*section = std::move(value);
    return CheckSettings(settings);
}

class MachineReader {
public:
    MachineReader(const Context& context, const SettingsChoice& choice, ReadFailure& failure)
        : m_context(context), m_choice(choice), m_failure(failure) {}

    std::optional<MachineSettings> Read() {
        const bool isRead = ReadName() && ReadTime() && ReadGroups() && ReadAdapters();
        return isRead ? std::optional(std::move(m_machine)) : std::nullopt;
    }

private:
    bool Fail(const std::string& subject, const Mdp::Error& error) {
        m_failure = {subject, error};
        return false;
    }

    void LeaveOut(const std::string& place, const std::string& why) { m_machine.leftOut.push_back(place + ": " + why); }

    bool ReadName() {
        if (!m_choice.Has(Section::Name)) {
            return true;
        }
        const auto bytes = m_context.client.Read(s_deviceName, 0);
        if (!bytes) {
            return Fail("reading the name", bytes.Error());
        }
        m_machine.name = Mdp::DecodeValue(Mdp::TypeVisibleString, *bytes).text;
        if (IsDeviceName(m_machine.name)) {
            m_machine.settings.name = m_machine.name;
        } else {
            LeaveOut("name", PrintableText(m_machine.name) + " is none that a machine can be given");
        }
        return true;
    }

    bool ReadTime() {
        const bool hasZone = m_choice.Has(Section::Zone);
        const bool hasNtp = m_choice.Has(Section::Ntp);
        if (!hasZone && !hasNtp) {
            return true;
        }
        const auto module = TimeModule::Find(m_context.client);
        if (!module && module.Error().kind == Mdp::ErrorKind::Argument) {
            for (const Section section : {Section::Zone, Section::Ntp}) {
                if (m_choice.Has(section)) {
                    m_machine.notOffered[section] = module.Error().detail;
                }
            }
            return true;
        }
        if (!module) {
            return Fail("finding the clock", module.Error());
        }
        return (!hasZone || ReadZone(*module)) && (!hasNtp || ReadNtp(*module));
    }

    bool ReadZone(const TimeModule& module) {
        auto zones = module.ListZones();
        const auto zone = module.ReadZone();
        if (!zones || !zone) {
            return Fail("reading the zone", zones ? zone.Error() : zones.Error());
        }
        m_machine.zones = std::move(*zones);
        m_machine.zone = *zone;
        if (zone->empty()) {
            LeaveOut("zone", "the machine does not know its own by name");
        } else {
            m_machine.settings.zone = *zone;
        }
        return true;
    }

    bool ReadNtp(const TimeModule& module) {
        const auto server = module.ReadText(TimeModule::SubNtpServer);
        const auto refresh = module.ReadNumber(TimeModule::SubNtpRefresh);
        if (!server || !refresh) {
            return Fail("reading the time server", server ? refresh.Error() : server.Error());
        }
        m_machine.ntp.server = *server;
        if (!server->empty()) {
            m_machine.ntp.refresh = static_cast<std::uint32_t>(*refresh);
        }
        NtpSettings ntp{*server, std::nullopt};
        if (!FaultsOf(&Settings::ntp, ntp).empty()) {
            LeaveOut("ntp", PrintableText(*server) + " is no server that a machine can be given");
            return true;
        }
        if (FaultsOf(&Settings::ntp, m_machine.ntp).empty()) {
            ntp = m_machine.ntp;
        } else {
            LeaveOut("ntp.refresh", std::to_string(*refresh) + " seconds are fewer than can be set");
        }
        m_machine.settings.ntp = std::move(ntp);
        return true;
    }

    bool ReadGroups() {
        if (!m_choice.Has(Section::Groups)) {
            return true;
        }
        auto groups = ListGroups(m_context);
        auto accounts = groups ? ListAccounts(m_context) : groups.Error();
        if (!accounts && accounts.Error().kind == Mdp::ErrorKind::Argument) {
            m_machine.notOffered[Section::Groups] = accounts.Error().detail;
            return true;
        }
        if (!accounts) {
            return Fail("reading the groups", accounts.Error());
        }
        m_machine.groups = std::move(*groups);
        m_machine.accounts = std::move(*accounts);
        m_machine.settings.groups.emplace();
        for (const std::string& group : m_machine.groups) {
            ReadGroup(group);
        }
        return true;
    }

    void ReadGroup(const std::string& group) {
        std::vector<std::string> members = m_machine.MembersOf(group);
        if (members.empty() && m_machine.MembershipOf(group, group) == Membership::Primary) {
            return; // comes and goes with its user
        }
        const std::string place = "groups." + PrintableText(group);
        if (!IsAccountName(group)) {
            LeaveOut(place, "the name is none that a group can be given");
            return;
        }
        for (const Account& account : m_machine.accounts) {
            if (m_machine.MembershipOf(account.name, group) == Membership::Hidden) {
                LeaveOut(place, "the machine does not tell whether " + PrintableText(account.name) +
                                    " is a member, who is one of a group whose name ends like this");
            }
        }
        for (const std::string& member : members) {
            if (!IsAccountName(member)) {
                LeaveOut(place, "the name of the member " + PrintableText(member) + " is none that can be given");
            }
        }
        std::erase_if(members, [](const std::string& member) { return !IsAccountName(member); });
        (*m_machine.settings.groups)[group] = std::move(members);
    }

    bool ReadAdapters() {
        const Section sections[] = {Section::Dns, Section::Gateway, Section::Net};
        if (std::none_of(std::begin(sections), std::end(sections),
                         [this](Section section) { return m_choice.Has(section); })) {
            return true;
        }
        const auto modules = ListAdapters(m_context.client);
        if (!modules) {
            return Fail("listing the adapters", modules.Error());
        }
        for (const Mdp::Module& module : *modules) {
            auto adapter = ReadAdapter(m_context.client, module);
            if (!adapter) {
                return Fail("reading " + module.name, adapter.Error());
            }
            m_machine.adapters.emplace(module.name, std::move(*adapter));
        }
        if (m_machine.adapters.empty()) {
            for (const Section section : sections) {
                if (m_choice.Has(section)) {
                    m_machine.notOffered[section] = "this machine offers no network adapters";
                }
            }
            return true;
        }
        TakeServers();
        TakeGateway();
        if (m_choice.Has(Section::Net)) {
            TakeAdapters();
        }
        return true;
    }

    // The servers and the gateway are the machine's, and each adapter shows them.
    void TakeServers() {
        const std::string& servers = m_machine.adapters.begin()->second.dns;
        m_machine.dns = servers.empty() ? std::vector<std::string>() : Split(servers, ',');
        if (!m_choice.Has(Section::Dns)) {
            return;
        }
        if (const auto faults = FaultsOf(&Settings::dns, m_machine.dns); faults.empty()) {
            m_machine.settings.dns = m_machine.dns;
        } else {
            LeaveOut("dns", faults.front().text + "; others cannot be set");
        }
    }

    void TakeGateway() {
        const std::string& shown = m_machine.adapters.begin()->second.gateway;
        m_machine.gateway = shown == s_noAddress ? "" : shown;
        bool allDhcp = true;
        for (const auto& [name, adapter] : m_machine.adapters) {
            allDhcp = allDhcp && adapter.dhcp;
            m_machine.gatewayIsLeased =
                m_machine.gatewayIsLeased || (adapter.dhcp && IsInNet(shown, adapter.address, adapter.mask));
        }
        // That of a lease, also of one that is still to come, is no setting.
        if (!m_choice.Has(Section::Gateway) || m_machine.gatewayIsLeased || (allDhcp && m_machine.gateway.empty())) {
            return;
        }
        if (const auto faults = FaultsOf(&Settings::gateway, m_machine.gateway); faults.empty()) {
            m_machine.settings.gateway = m_machine.gateway;
        } else {
            LeaveOut("gateway", faults.front().text);
        }
    }

    void TakeAdapters() {
        m_machine.settings.net.emplace();
        for (const auto& [name, adapter] : m_machine.adapters) {
            if (!m_choice.HasAdapter(name)) {
                continue;
            }
            AdapterSettings settings;
            settings.mac = IsMac(adapter.mac) ? adapter.mac : "";
            settings.dhcp = adapter.dhcp;
            if (!adapter.dhcp && adapter.address != s_noAddress) {
                settings.address = adapter.address;
                settings.mask = adapter.mask;
            }
            if (const auto faults = FaultsOf(&Settings::net, {{name, settings}}); !faults.empty()) {
                LeaveOut(PrintableText(faults.front().place), faults.front().text);
                settings = {settings.mac, false, "", ""};
            }
            (*m_machine.settings.net)[name] = std::move(settings);
        }
    }

    const Context& m_context;
    const SettingsChoice& m_choice;
    ReadFailure& m_failure;
    MachineSettings m_machine;
};

} // namespace

Membership MachineSettings::MembershipOf(const std::string& user, const std::string& group) const {
    const auto account =
        std::find_if(accounts.begin(), accounts.end(), [&](const Account& known) { return known.name == user; });
    if (account == accounts.end()) {
        return Membership::None;
    }
    const auto& told = account->groups;
    const auto found = std::find(told.begin(), told.end(), group);
    if (found != told.end()) {
        return found == told.begin() ? Membership::Primary : Membership::Member;
    }
    const bool mayBeHidden =
        std::any_of(told.begin(), told.end(), [&](const std::string& other) { return other.ends_with(group); });
    return mayBeHidden ? Membership::Hidden : Membership::None;
}

bool MachineSettings::HasGroup(const std::string& group) const {
    return std::find(groups.begin(), groups.end(), group) != groups.end();
}

bool MachineSettings::HasUser(const std::string& user) const {
    return std::any_of(accounts.begin(), accounts.end(), [&](const Account& known) { return known.name == user; });
}

std::vector<std::string> MachineSettings::MembersOf(const std::string& group) const {
    std::vector<std::string> members;
    for (const Account& account : accounts) {
        if (MembershipOf(account.name, group) == Membership::Member) {
            members.push_back(account.name);
        }
    }
    std::sort(members.begin(), members.end());
    return members;
}

std::optional<MachineSettings> ReadMachineSettings(const Context& context, const SettingsChoice& choice,
                                                   ReadFailure& failure) {
    return MachineReader(context, choice, failure).Read();
}

bool IsInNet(const std::string& address, const std::string& ofAddress, const std::string& mask) {
    const auto one = ParseIPv4(address);
    const auto other = ParseIPv4(ofAddress);
    const auto bits = ParseIPv4(mask);
    return one && other && bits && *bits != 0 && (*one & *bits) == (*other & *bits);
}

} // namespace MdpCommand
