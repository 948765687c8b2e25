#include "Commands.h"

#include <algorithm>
#include <functional>
#include <ostream>
#include <utility>
#include <vector>

#include "Adapters.h"
#include "Table.h"
#include "Text.h"
#include "WorkQueue.h"

namespace MdpCommand {
namespace {

class NetCommand : public Command {
public:
    void Declare(Arguments& arguments) override {
        arguments.Positional("ACTION", &m_action, "set changes an adapter; without it all adapters are shown")
            .OneOf({"set"});
        arguments.Positional("ADAPTER", &m_adapter, "the name of the adapter to change");
        Argument& address = arguments.Option("--address", &m_address, "a fixed IPv4 address");
        arguments.Option("--mask", &m_mask, "its subnet mask, such as 255.255.255.0; the present one if not given")
            .Needs(address);
        arguments.Flag("--dhcp", m_dhcp, "take the address from a DHCP server").Excludes(address);
        arguments.Option("--gateway", &m_gateway, "the default gateway, or none");
        arguments.Option("--dns", &m_dns, "up to three DNS servers with commas between, or none");
    }

    int Run(const Context& context) override {
        if (m_action.empty()) {
            const bool changes = !m_address.empty() || m_dhcp || !m_gateway.empty() || !m_dns.empty();
            return changes ? context.Fail(ExitUsage, "to change an adapter write: mdp net set ADAPTER OPTIONS")
                           : Show(context);
        }
        if (const std::string wrong = Check(); !wrong.empty()) {
            return context.Fail(ExitUsage, wrong);
        }
        const auto adapters = ListAdapters(context.client);
        if (!adapters) {
            return context.Fail(adapters.Error(), "listing the adapters");
        }
        const auto found = std::find_if(adapters->begin(), adapters->end(),
                                        [&](const Mdp::Module& module) { return module.name == m_adapter; });
        if (found == adapters->end()) {
            std::string names;
            for (const Mdp::Module& module : *adapters) {
                names += (names.empty() ? "" : ", ") + module.name;
            }
            return context.Fail(ExitUsage, "there is no adapter " + m_adapter + "; there are: " + names);
        }
        if ((!m_address.empty() || m_dhcp) && !CanHaveSettings(m_adapter)) {
            return context.Fail(ExitUsage, m_adapter + ": rc.conf holds no address for an adapter whose name has other "
                                                       "characters than letters, digits and _");
        }
        return Set(context, *found);
    }

    std::vector<Candidate> Complete(const Context& context, const std::vector<std::string>& positionals,
                                    const std::string&) override {
        if (positionals.empty()) {
            return {{"set", "change an adapter"}};
        }
        std::vector<Candidate> candidates;
        const auto adapters = ListAdapters(context.client);
        if (adapters && positionals.size() == 1) {
            for (const Mdp::Module& module : *adapters) {
                candidates.push_back({module.name, IndexText(module.index)});
            }
        }
        return candidates;
    }

private:
    static int Show(const Context& context) {
        const auto modules = ListAdapters(context.client);
        if (!modules) {
            return context.Fail(modules.Error(), "listing the adapters");
        }
        std::vector<Adapter> adapters(modules->size());
        // The machine runs a program for the gateway of each.
        WorkQueue queue;
        for (std::size_t i = 0; i < adapters.size(); ++i) {
            queue.Add(i, [&, i]() -> Mdp::Result<void> {
                auto adapter = ReadAdapter(context.client, (*modules)[i]);
                if (!adapter) {
                    return adapter.Error();
                }
                adapters[i] = std::move(*adapter);
                return {};
            });
        }
        if (const auto failure = queue.Run()) {
            return context.Fail(failure->error, (*modules)[failure->number].name);
        }
        Table table({"ADAPTER", "ADDRESS", "MASK", "DHCP", "GATEWAY", "DNS", "ACTIVE DNS", "MAC"});
        table.NameColumn(0);
        Json list = Json::Array();
        for (const Adapter& adapter : adapters) {
            list.Add({{"index", IndexText(adapter.module.index)},
                      {"name", TextJson(adapter.module.name)},
                      {"mac", TextJson(adapter.mac)},
                      {"address", TextJson(adapter.address)},
                      {"mask", TextJson(adapter.mask)},
                      {"dhcp", adapter.dhcp},
                      {"gateway", TextJson(adapter.gateway)},
                      {"dns", TextJson(adapter.dns)},
                      {"dnsActive", TextJson(adapter.dnsActive)}});
            const auto cell = [](const std::string& text) {
                return text.empty() || text == s_noAddress ? std::string("-") : PrintableText(text);
            };
            table.Add({PrintableText(adapter.module.name), cell(adapter.address), cell(adapter.mask),
                       adapter.dhcp ? "yes" : "no", cell(adapter.gateway), cell(adapter.dns), cell(adapter.dnsActive),
                       cell(adapter.mac)});
        }
        if (context.json) {
            context.Print(list);
        } else {
            context.Show(table);
        }
        return ExitOk;
    }

    // What is wrong with the command line, or nothing.
    std::string Check() const {
        if (m_adapter.empty()) {
            return "name the adapter: mdp net set ADAPTER OPTIONS; mdp net lists them";
        }
        if (m_address.empty() && !m_dhcp && m_gateway.empty() && m_dns.empty()) {
            return "nothing to set: give --address, --dhcp, --gateway or --dns";
        }
        if (!m_address.empty() && ParseIPv4(m_address).value_or(0) == 0) {
            return m_address + " is not an IPv4 address";
        }
        if (!m_mask.empty() && !IsMask(m_mask)) {
            return m_mask + " is not a subnet mask such as 255.255.255.0";
        }
        if (!m_gateway.empty() && m_gateway != "none" && !ParseIPv4(m_gateway)) {
            return m_gateway + " is not an IPv4 address; none removes the gateway";
        }
        if (m_dns.empty() || m_dns == "none") {
            return "";
        }
        const std::vector<std::string> servers = Split(m_dns, ',');
        if (servers.size() > s_mostDnsServers) {
            return "a machine takes at most three DNS servers";
        }
        for (const std::string& server : servers) {
            if (!ParseIPv4(server)) {
                return "\"" + server + "\" is not an IPv4 address; DNS servers are written A,B with a comma";
            }
        }
        return "";
    }

    // One of the settings that are named.
    struct Step {
        const char* name;
        std::function<Mdp::Result<void>()> set;
    };

    // Address or DHCP first, since DHCP takes the gateway away; the DNS servers, which restart nothing, last. Each on
    // its own: of an address and a gateway that are set together a failure is told only where both have failed.
    int Set(const Context& context, const Mdp::Module& module) const {
        const auto write = [&](std::uint8_t subIndex, const std::string& text) {
            return WriteAdapterText(context.client, module, subIndex, text);
        };
        std::vector<Step> steps;
        if (!m_address.empty()) {
            steps.push_back({"address", [&] { return SetAddress(context, module); }});
        }
        if (m_dhcp) {
            steps.push_back({"DHCP", [&] { return WriteAdapterDhcp(context.client, module); }});
        }
        if (!m_gateway.empty()) {
            const std::string gateway = m_gateway == "none" ? s_noAddress : m_gateway;
            steps.push_back({"gateway", [=] { return write(Adapter::SubGateway, gateway); }});
        }
        if (!m_dns.empty()) {
            const std::string servers = m_dns == "none" ? "NO" : m_dns;
            steps.push_back({"DNS", [=] { return write(Adapter::SubDns, servers); }});
        }
        for (std::size_t done = 0; done < steps.size(); ++done) {
            if (const Mdp::Result<void> set = steps[done].set(); !set) {
                return FailStep(context, module, set.Error(), steps, done);
            }
        }
        if (context.json) {
            context.Print({{"name", TextJson(module.name)}, {"index", IndexText(module.index)}, {"accepted", true}});
        } else {
            context.streams.out << PrintableText(module.name)
                                << ": accepted; the machine stores what changes and applies it in the background\n";
        }
        return ExitOk;
    }

    // Tells the failure of the step behind those that are done, and which is which.
    static int FailStep(const Context& context, const Mdp::Module& module, const Mdp::Error& error,
                        const std::vector<Step>& steps, std::size_t done) {
        std::string changed;
        std::string unchanged;
        for (std::size_t i = 0; i < steps.size(); ++i) {
            std::string& names = i < done ? changed : unchanged;
            names += (names.empty() ? "" : ", ") + std::string(steps[i].name);
        }
        Mdp::Error told = error;
        if (steps.size() > 1) {
            told.detail += (told.detail.empty() ? "" : "; ") + (done > 0 ? "accepted: " + changed + "; " : "") +
                           "not changed: " + unchanged;
        }
        const int status = context.Fail(told, module.name + " " + steps[done].name);
        const bool goesOn = error.kind == Mdp::ErrorKind::Timeout && context.jobTimeout.count() > 0;
        return goesOn ? ExitRunning : status;
    }

    // Address and mask are one setting, so that the adapter's present mask stands in for one that is not named.
    Mdp::Result<void> SetAddress(const Context& context, const Mdp::Module& module) const {
        std::string mask = m_mask;
        if (mask.empty()) {
            auto present = ReadAdapterText(context.client, module, Adapter::SubMask);
            if (!present) {
                return present.Error();
            }
            mask = std::move(*present);
        }
        if (!IsMask(mask)) {
            return Mdp::Error{Mdp::ErrorKind::Argument, 0, 0, "the adapter has no subnet mask yet; give --mask"};
        }
        return SetAdapterAddress(context, module, m_address, mask, {});
    }

    std::string m_action;
    std::string m_adapter;
    std::string m_address;
    std::string m_mask;
    bool m_dhcp = false;
    std::string m_gateway;
    std::string m_dns;
};

} // namespace

std::unique_ptr<Command> MakeNetCommand() {
    return std::make_unique<NetCommand>();
}

} // namespace MdpCommand
