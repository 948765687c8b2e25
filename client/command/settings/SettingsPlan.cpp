#include "settings/SettingsPlan.h"

#include <algorithm>
#include <cstdlib>
#include <tuple>

#include "Text.h"

namespace MdpCommand {
namespace {

class Planner {
public:
    Planner(const Settings& wanted, const MachineSettings& machine, const std::string& sessionAddress)
        : m_wanted(wanted), m_machine(machine), m_carrier(CarrierOf(sessionAddress)) {}

    std::vector<Step> Plan() {
        std::vector<Step> steps;
        std::optional<Difference> gateway;
        for (Difference& difference : CompareSettings(m_wanted, m_machine)) {
            if (difference.section == Section::Net) {
                m_net.push_back({{std::move(difference)}, std::nullopt, ""});
            } else if (difference.section == Section::Gateway) {
                gateway = std::move(difference);
            } else {
                steps.push_back({{std::move(difference)}, std::nullopt, ""});
            }
        }
        std::sort(m_net.begin(), m_net.end(),
                  [this](const Step& left, const Step& right) { return RankOf(left) < RankOf(right); });
        if (gateway) {
            AddGateway(*m_wanted.gateway, std::move(*gateway));
        } else if (const std::string kept = GatewayToKeep(); !kept.empty()) {
            AddGateway(kept, {Section::Gateway, "", "gateway", kept, kept, "",
                              kept + " again, as turning to DHCP takes it away"});
        }
        std::move(m_net.begin(), m_net.end(), std::back_inserter(steps));
        return steps;
    }

private:
    bool HoldsDefaultRoute(const std::string& name) const {
        const Adapter& adapter = m_machine.adapters.at(name);
        return IsInNet(m_machine.gateway, adapter.address, adapter.mask);
    }

    // The adapter that a change may cut off from whoever gave the command; empty where that is not known.
    std::string CarrierOf(const std::string& sessionAddress) const {
        for (const auto& [name, adapter] : m_machine.adapters) {
            if (!sessionAddress.empty() && adapter.address == sessionAddress) {
                return name;
            }
        }
        for (const auto& [name, adapter] : m_machine.adapters) {
            if (HoldsDefaultRoute(name)) {
                return name;
            }
        }
        return "";
    }

    const AdapterSettings& WantedOf(const Step& step) const { return m_wanted.net->at(step.differences.front().item); }

    bool TurnsToDhcp(const Step& step) const { return WantedOf(step).dhcp; }

    std::tuple<bool, bool, bool, std::string> RankOf(const Step& step) const {
        const std::string& name = step.differences.front().item;
        return {name == m_carrier, !TurnsToDhcp(step), HoldsDefaultRoute(name), name};
    }

    // Whether an address will lie in the net of an adapter that will have a fixed one.
    bool WillHold(const std::string& name, const Adapter& present, const std::string& address) const {
        const bool isWanted = m_wanted.net && m_wanted.net->contains(name) && m_wanted.net->at(name).SetsSomething();
        const AdapterSettings after =
            isWanted ? m_wanted.net->at(name) : AdapterSettings{"", present.dhcp, present.address, present.mask};
        return !after.dhcp && IsInNet(address, after.address, after.mask);
    }

    std::string GatewayToKeep() const {
        const bool anyTurns =
            std::any_of(m_net.begin(), m_net.end(), [this](const Step& step) { return TurnsToDhcp(step); });
        if (!anyTurns) {
            return "";
        }
        if (m_wanted.gateway) {
            return *m_wanted.gateway;
        }
        const bool staysUseful =
            std::any_of(m_machine.adapters.begin(), m_machine.adapters.end(),
                        [this](const auto& entry) { return WillHold(entry.first, entry.second, m_machine.gateway); });
        return !m_machine.gatewayIsLeased && staysUseful ? m_machine.gateway : "";
    }

    void AddGateway(const std::string& gateway, Difference difference) {
        const auto turns = [this](const Step& step) { return TurnsToDhcp(step); };
        const auto afterDhcp = std::find_if(m_net.rbegin(), m_net.rend(), turns).base();
        const auto fits = std::find_if(afterDhcp, m_net.end(), [&](const Step& step) {
            const AdapterSettings& adapter = WantedOf(step);
            return gateway.empty() || IsInNet(gateway, adapter.address, adapter.mask);
        });
        if (fits != m_net.end()) {
            fits->gateway = gateway;
            fits->differences.push_back(std::move(difference));
            return;
        }
        // Before a carrier that gets a fixed address of another net.
        const bool carrierIsLast = afterDhcp != m_net.end() && m_net.back().differences.front().item == m_carrier;
        m_net.insert(m_net.end() - (carrierIsLast ? 1 : 0), Step{{std::move(difference)}, gateway, Through(gateway)});
    }

    std::string Through(const std::string& gateway) const {
        for (const auto& [name, adapter] : m_machine.adapters) {
            if (WillHold(name, adapter, gateway)) {
                return name;
            }
        }
        return m_carrier.empty() ? m_machine.adapters.begin()->first : m_carrier;
    }

    const Settings& m_wanted;
    const MachineSettings& m_machine;
    const std::string m_carrier;
    std::vector<Step> m_net;
};

} // namespace

std::vector<Step> PlanSteps(const Settings& wanted, const MachineSettings& machine, const std::string& sessionAddress) {
    return Planner(wanted, machine, sessionAddress).Plan();
}

std::string SessionAddress() {
    // Address and port of the other side, address and port of this one.
    const char* connection = std::getenv("SSH_CONNECTION");
    const std::vector<std::string> words = Split(connection != nullptr ? connection : "", ' ');
    return words.size() == 4 ? words[2] : "";
}

} // namespace MdpCommand
