#include "Commands.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <optional>
#include <ostream>

#include "Text.h"

namespace MdpCommand {
namespace {

constexpr std::uint16_t s_moduleTypeNic = 2;

// Entries of an adapter's settings, which are the first data object of its module.
constexpr unsigned s_settings = 1;
constexpr std::uint8_t s_subMac = 1;
constexpr std::uint8_t s_subAddress = 2;
constexpr std::uint8_t s_subMask = 3;
constexpr std::uint8_t s_subDhcp = 4;
constexpr std::uint8_t s_subGateway = 5;
constexpr std::uint8_t s_subDns = 6;
constexpr std::uint8_t s_subDnsActive = 8;

// The service object that sets address, mask and gateway in one edit with one restart.
constexpr unsigned s_serviceSetAddress = 1;
constexpr std::size_t s_setAddressHead = 16;

constexpr const char* s_noAddress = "0.0.0.0";

// What the service refuses as a gateway: it then leaves the configured one, the route in force having no place there,
// and answers with the outcome for address and mask. An empty text would remove the gateway.
constexpr const char* s_keepGateway = "unchanged";
constexpr std::size_t s_mostServers = 3;

struct Adapter {
    Mdp::Module module;
    std::string mac;
    std::string address;
    std::string mask;
    bool dhcp = false;
    std::string gateway;
    std::string dns;
    std::string dnsActive;
};

std::optional<std::uint32_t> ParseIPv4(const std::string& text) {
    in_addr address{};
    if (inet_pton(AF_INET, text.c_str(), &address) != 1) {
        return std::nullopt;
    }
    return ntohl(address.s_addr);
}

// rc.conf sets variables of the shell, and the adapter's name is a part of theirs.
bool CanHaveSettings(const std::string& adapter) {
    return std::all_of(adapter.begin(), adapter.end(), [](char c) {
        return c == '_' || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    });
}

// Ones followed only by zeros, with at least one of them.
bool IsMask(const std::string& text) {
    const auto mask = ParseIPv4(text);
    return mask && *mask != 0 && ((~*mask + 1) & ~*mask) == 0;
}

Mdp::Result<std::string> ReadText(const Mdp::Client& client, std::uint16_t index, std::uint8_t subIndex) {
    const auto bytes = client.Read(index, subIndex);
    if (!bytes) {
        // An entry that is empty has no data.
        return bytes.Error().code == Mdp::OBJ_E_NODATA ? Mdp::Result<std::string>(std::string()) : bytes.Error();
    }
    return Mdp::DecodeValue(Mdp::TypeVisibleString, *bytes).text;
}

Mdp::Result<Adapter> ReadAdapter(const Mdp::Client& client, const Mdp::Module& module) {
    Adapter adapter;
    adapter.module = module;
    const std::uint16_t index = module.Data(s_settings);
    const std::pair<std::uint8_t, std::string*> texts[] = {
        {s_subMac, &adapter.mac},         {s_subAddress, &adapter.address}, {s_subMask, &adapter.mask},
        {s_subGateway, &adapter.gateway}, {s_subDns, &adapter.dns},         {s_subDnsActive, &adapter.dnsActive},
    };
    for (const auto& [subIndex, text] : texts) {
        auto value = ReadText(client, index, subIndex);
        if (!value) {
            return value.Error();
        }
        *text = std::move(*value);
    }
    const auto dhcp = client.Read(index, s_subDhcp);
    if (!dhcp) {
        return dhcp.Error();
    }
    adapter.dhcp = Mdp::DecodeValue(Mdp::TypeBoolean, *dhcp).boolean;
    return adapter;
}

Mdp::Result<std::vector<Mdp::Module>> ListAdapters(const Mdp::Client& client) {
    auto modules = client.ListModules();
    if (modules) {
        std::erase_if(*modules, [](const Mdp::Module& module) { return module.type != s_moduleTypeNic; });
    }
    return modules;
}

// The record of s_serviceSetAddress: its size, the lengths of the three texts, the texts.
Mdp::Bytes SetAddressRecord(const std::array<std::string, 3>& texts) {
    Mdp::Bytes record;
    const auto put = [&](std::size_t number) {
        for (unsigned shift = 0; shift < 32; shift += 8) {
            record.push_back(static_cast<std::uint8_t>(number >> shift));
        }
    };
    put(s_setAddressHead + texts[0].size() + texts[1].size() + texts[2].size());
    for (const std::string& text : texts) {
        put(text.size());
    }
    for (const std::string& text : texts) {
        record.insert(record.end(), text.begin(), text.end());
    }
    return record;
}

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
        Table table({"ADAPTER", "ADDRESS", "MASK", "DHCP", "GATEWAY", "DNS", "ACTIVE DNS", "MAC"});
        Json list = Json::Array();
        for (const Mdp::Module& module : *modules) {
            const auto adapter = ReadAdapter(context.client, module);
            if (!adapter) {
                return context.Fail(adapter.Error(), module.name);
            }
            list.Add({{"index", IndexText(module.index)},
                      {"name", TextJson(module.name)},
                      {"mac", TextJson(adapter->mac)},
                      {"address", TextJson(adapter->address)},
                      {"mask", TextJson(adapter->mask)},
                      {"dhcp", adapter->dhcp},
                      {"gateway", TextJson(adapter->gateway)},
                      {"dns", TextJson(adapter->dns)},
                      {"dnsActive", TextJson(adapter->dnsActive)}});
            const auto cell = [](const std::string& text) {
                return text.empty() || text == s_noAddress ? std::string("-") : PrintableText(text);
            };
            table.Add({PrintableText(module.name), cell(adapter->address), cell(adapter->mask),
                       adapter->dhcp ? "yes" : "no", cell(adapter->gateway), cell(adapter->dns),
                       cell(adapter->dnsActive), cell(adapter->mac)});
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
        if (servers.size() > s_mostServers) {
            return "a machine takes at most three DNS servers";
        }
        for (const std::string& server : servers) {
            if (!ParseIPv4(server)) {
                return "\"" + server + "\" is not an IPv4 address; DNS servers are written A,B with a comma";
            }
        }
        return "";
    }

    // Address or DHCP first, since DHCP takes the gateway away; the DNS servers, which restart nothing, last.
    int Set(const Context& context, const Mdp::Module& module) const {
        const std::uint16_t index = module.Data(s_settings);
        const std::string gateway = m_gateway == "none" ? s_noAddress : m_gateway;
        if (!m_address.empty()) {
            if (const Mdp::Result<void> set = SetAddress(context, module, gateway); !set) {
                const int status = context.Fail(set.Error(), module.name);
                const bool goesOn = set.Error().kind == Mdp::ErrorKind::Timeout && context.jobTimeout.count() > 0;
                return goesOn ? ExitRunning : status;
            }
        } else {
            if (m_dhcp) {
                if (const auto set = context.client.Write(index, s_subDhcp, Mdp::Bytes{1}); !set) {
                    return context.Fail(set.Error(), module.name + " DHCP");
                }
            }
            if (!gateway.empty()) {
                if (const auto set = WriteText(context, index, s_subGateway, gateway); !set) {
                    return context.Fail(set.Error(), module.name + " gateway");
                }
            }
        }
        if (!m_dns.empty()) {
            if (const auto set = WriteText(context, index, s_subDns, m_dns == "none" ? "NO" : m_dns); !set) {
                return context.Fail(set.Error(), module.name + " DNS");
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

    static Mdp::Result<void> WriteText(const Context& context, std::uint16_t index, std::uint8_t subIndex,
                                       const std::string& text) {
        return context.client.Write(index, subIndex, Mdp::Bytes(text.begin(), text.end()));
    }

    // The service takes all three texts. Address and mask are one setting, so that the adapter's present mask stands in
    // for one that is not named. The gateway is another, the whole machine's.
    Mdp::Result<void> SetAddress(const Context& context, const Mdp::Module& module, const std::string& gateway) const {
        std::array<std::string, 3> texts{m_address, m_mask, gateway.empty() ? s_keepGateway : gateway};
        if (texts[1].empty()) {
            auto present = ReadText(context.client, module.Data(s_settings), s_subMask);
            if (!present) {
                return present.Error();
            }
            texts[1] = std::move(*present);
        }
        if (!IsMask(texts[1])) {
            return Mdp::Error{Mdp::ErrorKind::Argument, 0, 0, "the adapter has no subnet mask yet; give --mask"};
        }
        const auto response = context.client.CallService(module.Service(s_serviceSetAddress), SetAddressRecord(texts),
                                                         context.JobOptions(module.name));
        if (!response) {
            return response.Error();
        }
        if (response->status.Failed()) {
            return Mdp::Error{Mdp::ErrorKind::Object, response->FailureCode(), 0, {}};
        }
        return {};
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
