#include "settings/SettingsDocument.h"

#include <algorithm>
#include <limits>
#include <set>

#include "Adapters.h"
#include "Text.h"
#include "TimeModule.h"

namespace MdpCommand {
namespace {

constexpr std::uint64_t s_version = 1;
constexpr std::size_t s_longestName = 255;
constexpr std::size_t s_longestAdapterName = 64;
constexpr std::uint64_t s_shortestRefresh = 16; // seconds

constexpr const char* s_none = "none";

bool IsLetterOrDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

std::string Quoted(const std::string& text) {
    return Mdp::Quote(text);
}

// Takes values out of a document, and notes what is not as it should be.
class DocumentReader {
public:
    explicit DocumentReader(std::vector<Fault>& faults) : m_faults(faults) {}

    void Complain(const std::string& place, const std::string& text) { m_faults.push_back({place, text}); }

    std::string Text(const Json& json, const std::string& place) {
        if (const auto* text = std::get_if<std::string>(&json.Held())) {
            return *text;
        }
        Complain(place, "this must be a text");
        return "";
    }

    // An empty text stands for null.
    std::string TextOrNone(const Json& json, const std::string& place) {
        if (std::holds_alternative<std::monostate>(json.Held())) {
            return "";
        }
        std::string text = Text(json, place);
        if (text.empty()) {
            Complain(place, "an empty text is nothing; null stands for none");
        }
        return text;
    }

    bool Boolean(const Json& json, const std::string& place) {
        if (const bool* boolean = std::get_if<bool>(&json.Held())) {
            return *boolean;
        }
        Complain(place, "this must be true or false");
        return false;
    }

    std::uint64_t Number(const Json& json, const std::string& place) {
        if (const auto* number = std::get_if<std::uint64_t>(&json.Held())) {
            return *number;
        }
        Complain(place, "this must be a whole number");
        return 0;
    }

    std::vector<std::string> Texts(const Json& json, const std::string& place) {
        std::vector<std::string> texts;
        const auto* elements = std::get_if<Json::Elements>(&json.Held());
        if (elements == nullptr) {
            Complain(place, "this must be a list: [\"...\", \"...\"]");
            return texts;
        }
        for (std::size_t i = 0; i < elements->size(); ++i) {
            texts.push_back(Text((*elements)[i], place + "[" + std::to_string(i) + "]"));
        }
        return texts;
    }

    // The members of an object; none where it is no object.
    const Json::Members& Members(const Json& json, const std::string& place) {
        static const Json::Members none;
        const auto* members = std::get_if<Json::Members>(&json.Held());
        if (members == nullptr) {
            Complain(place, "this must be an object: {...}");
        }
        return members != nullptr ? *members : none;
    }

    NtpSettings Ntp(const Json& json) {
        NtpSettings ntp;
        bool hasServer = false;
        for (const Json::Member& member : Members(json, "ntp")) {
            const std::string place = "ntp." + member.name;
            if (member.name == "server") {
                ntp.server = TextOrNone(member.value, place);
                hasServer = true;
            } else if (member.name == "refresh") {
                const std::uint64_t refresh = Number(member.value, place);
                if (refresh > std::numeric_limits<std::uint32_t>::max()) {
                    Complain(place, "the most seconds are 4294967295");
                }
                ntp.refresh = static_cast<std::uint32_t>(refresh);
            } else {
                Unknown(place, "server and refresh");
            }
        }
        if (!hasServer && std::holds_alternative<Json::Members>(json.Held())) {
            Complain("ntp", "server is missing; null stands for none");
        }
        return ntp;
    }

    std::map<std::string, GroupMembers> Groups(const Json& json) {
        std::map<std::string, GroupMembers> groups;
        for (const Json::Member& member : Members(json, "groups")) {
            const bool isNull = std::holds_alternative<std::monostate>(member.value.Held());
            groups[member.name] = isNull ? GroupMembers() : GroupMembers(Texts(member.value, "groups." + member.name));
        }
        return groups;
    }

    AdapterSettings AdapterOf(const Json& json, const std::string& adapter) {
        AdapterSettings settings;
        bool isWithoutDhcp = false;
        for (const Json::Member& member : Members(json, adapter)) {
            const std::string place = adapter + "." + member.name;
            if (member.name == "mac") {
                settings.mac = Text(member.value, place);
            } else if (member.name == "dhcp") {
                const std::size_t faults = m_faults.size();
                const bool isOn = Boolean(member.value, place);
                const bool isTold = m_faults.size() == faults;
                settings.dhcp = isTold && isOn;
                isWithoutDhcp = isTold && !isOn;
            } else if (member.name == "address") {
                settings.address = Text(member.value, place);
            } else if (member.name == "mask") {
                settings.mask = Text(member.value, place);
            } else {
                Unknown(place, "dhcp, address, mask and mac");
            }
        }
        if (isWithoutDhcp && settings.address.empty()) {
            Complain(adapter, "without DHCP there must be an address and a mask");
        }
        return settings;
    }

    Settings Document(const Json& json) {
        Settings settings;
        const Json* version = json.Find("version");
        if (!std::holds_alternative<Json::Members>(json.Held())) {
            Complain("", "this is no document of settings, which is an object: {...}; mdp save writes one");
            return settings;
        }
        if (version == nullptr || version->Held() != Json::Value(s_version)) {
            Complain("version", version == nullptr ? "this is missing; mdp save writes version 1"
                                                   : "this mdp reads version 1; a newer one may read others");
            return settings;
        }
        for (const auto& [name, value] : std::get<Json::Members>(json.Held())) {
            if (name == "$schema") {
                Text(value, name); // for editors
            } else if (name == "name") {
                settings.name = Text(value, name);
            } else if (name == "zone") {
                settings.zone = Text(value, name);
            } else if (name == "ntp") {
                settings.ntp = Ntp(value);
            } else if (name == "groups") {
                settings.groups = Groups(value);
            } else if (name == "dns") {
                settings.dns = Texts(value, name);
            } else if (name == "gateway") {
                settings.gateway = TextOrNone(value, name);
            } else if (name == "net") {
                settings.net.emplace();
                for (const auto& [adapter, adapterJson] : Members(value, name)) {
                    (*settings.net)[adapter] = AdapterOf(adapterJson, "net." + adapter);
                }
            } else if (name != "version") {
                Unknown(name, "version, name, zone, ntp, groups, dns, gateway and net");
            }
        }
        return settings;
    }

private:
    void Unknown(const std::string& place, const std::string& known) {
        Complain(place, "there is no such setting; there are: " + known);
    }

    std::vector<Fault>& m_faults;
};

// Notes what cannot be set.
class Checker {
public:
    explicit Checker(const Settings& settings) : m_settings(settings) {}

    std::vector<Fault> Check() {
        CheckIdentity();
        CheckTime();
        CheckGroups();
        CheckServers();
        if (m_settings.net) {
            for (const auto& [name, adapter] : *m_settings.net) {
                CheckAdapter(name, adapter);
            }
        }
        return std::move(m_faults);
    }

private:
    void Expect(bool condition, const std::string& place, const std::string& text) {
        if (!condition) {
            m_faults.push_back({place, text});
        }
    }

    void CheckIdentity() {
        if (m_settings.name) {
            Expect(IsDeviceName(*m_settings.name), "name",
                   Quoted(*m_settings.name) +
                       " is no name for a machine: up to 255 letters, digits, - . and _, a letter or digit first, and "
                       "none of qr_ qr- lm- lm_ tv- wn- at the beginning");
        }
    }

    void CheckTime() {
        if (m_settings.zone) {
            Expect(!m_settings.zone->empty(), "zone", "name the zone; mdp zone list shows them");
        }
        if (!m_settings.ntp) {
            return;
        }
        const NtpSettings& ntp = *m_settings.ntp;
        Expect(TimeModule::IsServerName(ntp.server) && ntp.server.size() <= s_longestName &&
                   Lower(ntp.server) != Lower(TimeModule::NoServer),
               "ntp.server", Quoted(ntp.server) + " is no name or address of a server; null stands for none");
        if (ntp.refresh) {
            Expect(!ntp.server.empty(), "ntp.refresh", "without a server there is no refresh; leave it out");
            Expect(*ntp.refresh >= s_shortestRefresh, "ntp.refresh", "the fewest seconds are 16");
        }
    }

    void CheckGroups() {
        if (!m_settings.groups) {
            return;
        }
        for (const auto& [group, members] : *m_settings.groups) {
            const std::string place = "groups." + group;
            Expect(IsAccountName(group), place, Quoted(group) + " is no name for a group");
            std::set<std::string> seen;
            for (const std::string& member : members.value_or(std::vector<std::string>())) {
                Expect(IsAccountName(member), place, Quoted(member) + " is no name of a user");
                Expect(seen.insert(member).second, place, member + " is there twice");
            }
        }
    }

    void CheckServers() {
        if (m_settings.dns) {
            for (std::size_t i = 0; i < m_settings.dns->size(); ++i) {
                const std::string& server = (*m_settings.dns)[i];
                Expect(IsHostAddress(server), "dns[" + std::to_string(i) + "]",
                       Quoted(server) + " is no IPv4 address of a DNS server");
            }
            Expect(m_settings.dns->size() <= s_mostDnsServers, "dns", "a machine takes at most three DNS servers");
        }
        if (m_settings.gateway && !m_settings.gateway->empty()) {
            Expect(IsHostAddress(*m_settings.gateway), "gateway",
                   Quoted(*m_settings.gateway) + " is no IPv4 address of a router; null stands for none");
        }
    }

    void CheckAdapter(const std::string& name, const AdapterSettings& adapter) {
        const std::string place = "net." + name;
        const bool isName = !name.empty() && name.size() <= s_longestAdapterName &&
                            std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c <= '~'; });
        Expect(isName, place, Quoted(name) + " is no name of an adapter");
        Expect(!adapter.SetsSomething() || CanHaveSettings(name), place,
               "rc.conf holds no address for an adapter whose name has other characters than letters, digits and _");
        Expect(adapter.mac.empty() || IsMac(adapter.mac), place + ".mac",
               Quoted(adapter.mac) + " is no MAC address such as 00:01:05:12:34:56");
        if (adapter.dhcp) {
            Expect(adapter.address.empty() && adapter.mask.empty(), place,
                   "with DHCP there is no address and no mask; leave out either dhcp or them");
            return;
        }
        if (adapter.address.empty()) {
            Expect(adapter.mask.empty(), place, "a mask needs an address");
            return;
        }
        Expect(IsHostAddress(adapter.address), place + ".address",
               Quoted(adapter.address) + " is no IPv4 address of an adapter");
        Expect(IsMask(adapter.mask), place + ".mask",
               adapter.mask.empty() ? "an address needs a mask such as 255.255.255.0"
                                    : Quoted(adapter.mask) + " is no subnet mask such as 255.255.255.0");
        const auto [other, isNew] = m_owners.emplace(adapter.address, name);
        Expect(isNew, place + ".address", adapter.address + " is the address of " + other->second + " too");
    }

    const Settings& m_settings;
    std::map<std::string, std::string> m_owners; // of addresses
    std::vector<Fault> m_faults;
};

std::vector<std::string> TextsOf(const std::string& value) {
    return value == s_none ? std::vector<std::string>() : Split(value, ',');
}

std::string SetAdapterValue(Settings& settings, const std::string& place, const std::string& value) {
    const std::size_t begin = place.find('.') + 1;
    const std::size_t end = place.rfind('.');
    if (end < begin) {
        return "write net.ADAPTER.dhcp, net.ADAPTER.address or net.ADAPTER.mask";
    }
    if (!settings.net) {
        settings.net.emplace();
    }
    AdapterSettings& adapter = (*settings.net)[place.substr(begin, end - begin)];
    const std::string field = place.substr(end + 1);
    if (field == "dhcp") {
        if (value != "true" && value != "false") {
            return Quoted(value) + " is neither true nor false";
        }
        adapter.dhcp = value == "true";
        if (adapter.dhcp) {
            adapter.address.clear();
            adapter.mask.clear();
        }
    } else if (field == "address" || field == "mask") {
        adapter.dhcp = false;
        (field == "mask" ? adapter.mask : adapter.address) = value;
    } else {
        return "an adapter has dhcp, address and mask";
    }
    return "";
}

std::string SetNtpValue(Settings& settings, const std::string& field, const std::string& value) {
    if (!settings.ntp) {
        settings.ntp.emplace();
    }
    if (field == "server") {
        settings.ntp->server = value == s_none ? "" : value;
        if (settings.ntp->server.empty()) {
            settings.ntp->refresh.reset();
        }
        return "";
    }
    const auto refresh = ParseNumber(value, std::numeric_limits<std::uint32_t>::max());
    if (!refresh) {
        return Quoted(value) + " is no number of seconds";
    }
    settings.ntp->refresh = static_cast<std::uint32_t>(*refresh);
    return "";
}

} // namespace

std::string FaultText(const Fault& fault) {
    return fault.place.empty() ? fault.text : fault.place + ": " + fault.text;
}

Json TextOrNull(const std::string& text) {
    return text.empty() ? Json() : TextJson(text);
}

Json TextsJson(const std::vector<std::string>& texts) {
    Json list = Json::Array();
    for (const std::string& text : texts) {
        list.Add(TextJson(text));
    }
    return list;
}

Json MembersJson(const GroupMembers& members) {
    return members ? TextsJson(*members) : Json();
}

Json AdapterJson(const AdapterSettings& adapter) {
    Json json{std::initializer_list<Json::Member>()};
    if (!adapter.mac.empty()) {
        json.Add("mac", TextJson(adapter.mac));
    }
    if (adapter.SetsSomething()) {
        json.Add("dhcp", adapter.dhcp);
    }
    if (!adapter.address.empty()) {
        json.Add("address", TextJson(adapter.address));
        json.Add("mask", TextJson(adapter.mask));
    }
    return json;
}

std::string AdapterWords(const AdapterSettings& adapter) {
    if (adapter.dhcp) {
        return "DHCP";
    }
    return adapter.address.empty() ? "no address" : adapter.address + " mask " + adapter.mask;
}

std::string TextsWords(const std::vector<std::string>& texts) {
    std::string words;
    for (const std::string& text : texts) {
        words += (words.empty() ? "" : ", ") + text;
    }
    return words.empty() ? s_none : words;
}

std::string MembersWords(const GroupMembers& members) {
    return !members ? "no such group" : members->empty() ? "no members" : TextsWords(*members);
}

bool IsDeviceName(const std::string& text) {
    if (text.empty() || text.size() > s_longestName || !IsLetterOrDigit(text[0])) {
        return false;
    }
    const std::string begin = Lower(text.substr(0, 3));
    for (const char* reserved : {"qr_", "qr-", "lm-", "lm_", "tv-", "wn-"}) {
        if (begin == reserved) {
            return false;
        }
    }
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return IsLetterOrDigit(c) || c == '-' || c == '.' || c == '_'; });
}

bool IsAccountName(const std::string& text) {
    // A trailing $ is that of a machine's account.
    const std::string name = text.ends_with('$') ? text.substr(0, text.size() - 1) : text;
    return !name.empty() && text.size() <= s_longestName && name[0] != '-' &&
           std::all_of(name.begin(), name.end(),
                       [](char c) { return IsLetterOrDigit(c) || c == '-' || c == '.' || c == '_'; });
}

bool IsHostAddress(const std::string& text) {
    const auto address = ParseIPv4(text);
    return address && *address >= 0x01000000 && *address < 0xE0000000;
}

bool IsMac(const std::string& text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isDigit = (text[i] >= '0' && text[i] <= '9') || (text[i] >= 'a' && text[i] <= 'f') ||
                             (text[i] >= 'A' && text[i] <= 'F');
        if (i % 3 == 2 ? text[i] != ':' : !isDigit) {
            return false;
        }
    }
    return text.size() == 17;
}

Json DocumentJson(const Settings& settings) {
    Json json{{"version", s_version}};
    if (settings.name) {
        json.Add("name", TextJson(*settings.name));
    }
    if (settings.zone) {
        json.Add("zone", TextJson(*settings.zone));
    }
    if (settings.ntp) {
        Json ntp{{"server", TextOrNull(settings.ntp->server)}};
        if (settings.ntp->refresh) {
            ntp.Add("refresh", *settings.ntp->refresh);
        }
        json.Add("ntp", std::move(ntp));
    }
    if (settings.groups) {
        Json groups{std::initializer_list<Json::Member>()};
        for (const auto& [group, members] : *settings.groups) {
            groups.Add(group, MembersJson(members));
        }
        json.Add("groups", std::move(groups));
    }
    if (settings.dns) {
        json.Add("dns", TextsJson(*settings.dns));
    }
    if (settings.gateway) {
        json.Add("gateway", TextOrNull(*settings.gateway));
    }
    if (settings.net) {
        Json net{std::initializer_list<Json::Member>()};
        for (const auto& [name, adapter] : *settings.net) {
            net.Add(name, AdapterJson(adapter));
        }
        json.Add("net", std::move(net));
    }
    return json;
}

std::string DocumentText(const Settings& settings) {
    return DocumentJson(settings).Text(false) + "\n";
}

std::optional<Settings> ParseDocument(std::string_view text, std::vector<Fault>& faults) {
    std::string wrong;
    const std::optional<Json> json = Json::Parse(text, wrong);
    if (!json) {
        faults.push_back({"", "this is no JSON: " + wrong});
        return std::nullopt;
    }
    Settings settings = DocumentReader(faults).Document(*json);
    return faults.empty() ? std::optional(std::move(settings)) : std::nullopt;
}

std::vector<Fault> CheckSettings(const Settings& settings) {
    return Checker(settings).Check();
}

std::string SetValue(Settings& settings, const std::string& place, const std::string& value) {
    if (value.empty()) {
        return "there is no value; write none for no server, gateway or member";
    }
    if (place == "name") {
        settings.name = value;
    } else if (place == "zone") {
        settings.zone = value;
    } else if (place == "ntp.server" || place == "ntp.refresh") {
        return SetNtpValue(settings, place.substr(4), value);
    } else if (place == "dns") {
        settings.dns = TextsOf(value);
    } else if (place == "gateway") {
        settings.gateway = value == s_none ? "" : value;
    } else if (place.starts_with("groups.") && place.size() > 7) {
        if (!settings.groups) {
            settings.groups.emplace();
        }
        (*settings.groups)[place.substr(7)] = TextsOf(value);
    } else if (place.starts_with("net.")) {
        return SetAdapterValue(settings, place, value);
    } else {
        return "there is no such setting; there are: name, zone, ntp.server, ntp.refresh, dns, gateway, groups.GROUP, "
               "net.ADAPTER.dhcp, net.ADAPTER.address and net.ADAPTER.mask";
    }
    return "";
}

} // namespace MdpCommand
