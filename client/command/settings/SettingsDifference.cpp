#include "settings/SettingsDifference.h"

#include <algorithm>
#include <bit>

#include "Text.h"

namespace MdpCommand {
namespace {

constexpr const char* s_none = "none";

std::string WordsOr(const std::string& text, const char* empty) {
    return text.empty() ? empty : PrintableText(text);
}

std::string NoUser(const std::string& user) {
    return "this machine has no user " + user + "; add it (mdp user add " + user +
           ") or leave the groups out by --only";
}

class Comparison {
public:
    Comparison(const Settings& wanted, const MachineSettings& machine) : m_wanted(wanted), m_machine(machine) {}

    std::vector<Difference> Compare() {
        CompareText(Section::Name, m_wanted.name, m_machine.name);
        CompareText(Section::Zone, m_wanted.zone, m_machine.zone);
        CompareNtp();
        CompareGroups();
        CompareDns();
        CompareGateway();
        CompareNet();
        return std::move(m_differences);
    }

private:
    // What the machine does not offer differs from whatever is wanted of it.
    bool IsOffered(Section section, const Json& to, const std::string& toWords) {
        const auto missing = m_machine.notOffered.find(section);
        if (missing == m_machine.notOffered.end()) {
            return true;
        }
        m_differences.push_back({section, "", SectionName(section), {}, to, "not offered by this machine", toWords});
        return false;
    }

    void CompareText(Section section, const std::optional<std::string>& wanted, const std::string& present) {
        if (wanted && IsOffered(section, TextJson(*wanted), PrintableText(*wanted)) && *wanted != present) {
            m_differences.push_back({section, "", SectionName(section), TextOrNull(present), TextJson(*wanted),
                                     WordsOr(present, "unknown"), PrintableText(*wanted)});
        }
    }

    void CompareNtp() {
        if (!m_wanted.ntp) {
            return;
        }
        const NtpSettings& wanted = *m_wanted.ntp;
        if (!IsOffered(Section::Ntp, TextOrNull(wanted.server), WordsOr(wanted.server, s_none))) {
            return;
        }
        const NtpSettings& present = m_machine.ntp;
        if (wanted.server != present.server) {
            m_differences.push_back({Section::Ntp, "server", "ntp.server", TextOrNull(present.server),
                                     TextOrNull(wanted.server), WordsOr(present.server, s_none),
                                     WordsOr(wanted.server, s_none)});
        }
        if (wanted.refresh && RefreshOf(*wanted.refresh) != present.refresh) {
            const std::uint32_t refresh = RefreshOf(*wanted.refresh);
            m_differences.push_back(
                {Section::Ntp, "refresh", "ntp.refresh", present.refresh ? Json(*present.refresh) : Json(), refresh,
                 present.refresh ? std::to_string(*present.refresh) + " s" : s_none, std::to_string(refresh) + " s"});
        }
    }

    void CompareGroups() {
        if (!m_wanted.groups || m_wanted.groups->empty() || !IsOffered(Section::Groups, {}, "groups")) {
            return;
        }
        for (const auto& [group, members] : *m_wanted.groups) {
            const GroupMembers present =
                m_machine.HasGroup(group) ? GroupMembers(m_machine.MembersOf(group)) : GroupMembers();
            if (!AreMembers(group, present, members)) {
                m_differences.push_back({Section::Groups, group, "groups." + group, MembersJson(present),
                                         MembersJson(members), PrintableText(MembersWords(present)),
                                         MembersWords(members)});
            }
        }
    }

    bool AreMembers(const std::string& group, const GroupMembers& present, const GroupMembers& wanted) const {
        if (!present || !wanted) {
            return !present && !wanted;
        }
        const auto isWanted = [&](const std::string& user) {
            return std::find(wanted->begin(), wanted->end(), user) != wanted->end();
        };
        return std::all_of(present->begin(), present->end(), isWanted) &&
               std::all_of(wanted->begin(), wanted->end(), [&](const std::string& user) {
                   return m_machine.MembershipOf(user, group) != Membership::None;
               });
    }

    void CompareDns() {
        if (m_wanted.dns && IsOffered(Section::Dns, TextsJson(*m_wanted.dns), TextsWords(*m_wanted.dns)) &&
            *m_wanted.dns != m_machine.dns) {
            m_differences.push_back({Section::Dns, "", "dns", TextsJson(m_machine.dns), TextsJson(*m_wanted.dns),
                                     PrintableText(TextsWords(m_machine.dns)), TextsWords(*m_wanted.dns)});
        }
    }

    void CompareGateway() {
        if (!m_wanted.gateway ||
            !IsOffered(Section::Gateway, TextOrNull(*m_wanted.gateway), WordsOr(*m_wanted.gateway, s_none))) {
            return;
        }
        // No configured gateway is what a machine with a leased one has.
        const bool isEqual =
            *m_wanted.gateway == m_machine.gateway || (m_wanted.gateway->empty() && m_machine.gatewayIsLeased);
        if (!isEqual) {
            m_differences.push_back({Section::Gateway, "", "gateway", TextOrNull(m_machine.gateway),
                                     TextOrNull(*m_wanted.gateway), WordsOr(m_machine.gateway, s_none),
                                     WordsOr(*m_wanted.gateway, s_none)});
        }
    }

    void CompareNet() {
        if (!m_wanted.net || !IsOffered(Section::Net, {}, "adapters")) {
            return;
        }
        for (const auto& [name, wanted] : *m_wanted.net) {
            const auto found = m_machine.adapters.find(name);
            const std::string place = "net." + name;
            if (!wanted.SetsSomething()) {
                continue;
            }
            AdapterSettings told = wanted;
            told.mac.clear();
            if (found == m_machine.adapters.end()) {
                m_differences.push_back(
                    {Section::Net, name, place, {}, AdapterJson(told), "no such adapter", AdapterWords(told)});
                continue;
            }
            AdapterSettings present{"", found->second.dhcp, "", ""};
            if (!present.dhcp && found->second.address != s_noAddress) {
                present.address = found->second.address;
                present.mask = found->second.mask;
            }
            if (told != present) {
                m_differences.push_back({Section::Net, name, place, AdapterJson(present), AdapterJson(told),
                                         PrintableText(AdapterWords(present)), AdapterWords(told)});
            }
        }
    }

    const Settings& m_wanted;
    const MachineSettings& m_machine;
    std::vector<Difference> m_differences;
};

} // namespace

std::vector<Difference> CompareSettings(const Settings& wanted, const MachineSettings& machine) {
    return Comparison(wanted, machine).Compare();
}

std::vector<Fault> FindObstacles(const Settings& wanted, const MachineSettings& machine) {
    std::vector<Fault> obstacles;
    for (const Section section : SectionsOf(wanted)) {
        if (const auto missing = machine.notOffered.find(section); missing != machine.notOffered.end()) {
            obstacles.push_back({SectionName(section), missing->second + "; leave it out by --only"});
        }
    }
    if (!obstacles.empty()) {
        return obstacles;
    }
    if (wanted.zone && std::find(machine.zones.begin(), machine.zones.end(), *wanted.zone) == machine.zones.end()) {
        obstacles.push_back(
            {"zone", "this machine has no zone " + PrintableText(*wanted.zone) + "; mdp zone list shows them"});
    }
    if (wanted.groups) {
        for (const auto& [group, members] : *wanted.groups) {
            for (const std::string& user : members.value_or(std::vector<std::string>())) {
                if (!machine.HasUser(user)) {
                    obstacles.push_back({"groups." + group, NoUser(user)});
                }
            }
        }
    }
    if (wanted.net) {
        std::string names;
        for (const auto& [name, adapter] : machine.adapters) {
            names += (names.empty() ? "" : ", ") + PrintableText(name);
        }
        for (const auto& [name, adapter] : *wanted.net) {
            if (adapter.SetsSomething() && !machine.adapters.contains(name)) {
                obstacles.push_back({"net." + name, "this machine has no such adapter; there are: " + names +
                                                        "; choose those that are to be set by --only, as in net=em0"});
            }
        }
    }
    return obstacles;
}

std::string DifferenceWords(const Difference& difference) {
    const std::string from = difference.fromWords.empty() ? "" : difference.fromWords + " -> ";
    return difference.place + ": " + from + difference.toWords;
}

Json DifferenceJson(const Difference& difference) {
    return {{"setting", difference.place}, {"from", difference.from}, {"to", difference.to}};
}

std::uint32_t RefreshOf(std::uint32_t seconds) {
    return std::bit_floor(seconds);
}

} // namespace MdpCommand
