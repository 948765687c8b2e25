#include "HostList.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <system_error>

#include "Text.h"

namespace MdpCommand {
namespace {

constexpr std::string_view s_letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr std::string_view s_digits = "0123456789";
constexpr std::string_view s_scheme = "ssh://";
constexpr std::string_view s_form = "[USER@]HOST[:PORT], several with commas between, or @FILE with one a line";

// One or more of the characters, the first of which is no dash.
bool Consists(std::string_view text, std::string_view others) {
    return !text.empty() && text[0] != '-' && std::all_of(text.begin(), text.end(), [&](char c) {
        return s_letters.find(c) != std::string_view::npos || s_digits.find(c) != std::string_view::npos ||
               others.find(c) != std::string_view::npos;
    });
}

bool IsPort(std::string_view text) {
    const auto number = ParseNumber(text, 0xFFFF);
    return number && *number != 0 && text.find_first_not_of(s_digits) == std::string_view::npos;
}

std::string_view Trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r";
    const std::size_t begin = text.find_first_not_of(blanks);
    return begin == std::string_view::npos ? std::string_view()
                                           : text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

void AddHosts(HostList& list, std::string_view text, const std::string& where) {
    for (const std::string& part : Split(text, ',')) {
        const auto host = ParseHost(Trimmed(part));
        if (!host) {
            list.wrong = where;
            list.wrong.append("\"").append(part).append("\" is no machine's name; the form is ").append(s_form);
            return;
        }
        const bool isKnown =
            std::any_of(list.hosts.begin(), list.hosts.end(), [&](const Host& known) { return known.IsSame(*host); });
        if (!isKnown) {
            list.hosts.push_back(*host);
        }
    }
}

void AddHostsOfFile(HostList& list, const std::string& path) {
    errno = 0;
    std::ifstream file(path);
    std::size_t number = 0;
    for (std::string line; list.wrong.empty() && std::getline(file, line);) {
        ++number;
        const std::string_view names = Trimmed(std::string_view(line).substr(0, line.find('#')));
        if (!names.empty()) {
            AddHosts(list, names, path + ":" + std::to_string(number) + ": ");
        }
    }
    if (list.wrong.empty() && !file.eof()) {
        list.wrong = path + ": " + std::generic_category().message(errno != 0 ? errno : EIO) +
                     "; --host @FILE takes a file with one machine a line";
    }
}

} // namespace

std::string Host::Text() const {
    const bool isAddress = name.find(':') != std::string::npos && !port.empty();
    return (user.empty() ? "" : user + "@") + (isAddress ? "[" + name + "]" : name) + (port.empty() ? "" : ":" + port);
}

std::optional<Host> ParseHost(std::string_view text) {
    if (text.starts_with(s_scheme)) {
        text.remove_prefix(s_scheme.size());
        if (text.ends_with('/')) {
            text.remove_suffix(1);
        }
    }
    Host host;
    // A user's name may hold an '@' itself.
    if (const std::size_t at = text.rfind('@'); at != std::string_view::npos) {
        host.user = text.substr(0, at);
        text.remove_prefix(at + 1);
        if (!Consists(host.user, "._@+-")) {
            return std::nullopt;
        }
    }
    bool isAddress = false;
    if (text.starts_with('[')) {
        const std::size_t end = text.find(']');
        if (end == std::string_view::npos) {
            return std::nullopt;
        }
        isAddress = true;
        host.name = text.substr(1, end - 1);
        text.remove_prefix(end + 1);
    } else {
        const std::size_t colon = text.find(':');
        isAddress = colon != std::string_view::npos && text.find(':', colon + 1) != std::string_view::npos;
        const std::size_t end = isAddress ? text.size() : std::min(colon, text.size());
        host.name = text.substr(0, end);
        text.remove_prefix(end);
    }
    if (text.starts_with(':')) {
        host.port = text.substr(1);
        text = {};
        if (!IsPort(host.port)) {
            return std::nullopt;
        }
    }
    if (!text.empty() || !Consists(host.name, isAddress ? ":.%_-" : "._-")) {
        return std::nullopt;
    }
    return host;
}

HostList ParseHosts(const std::vector<std::string>& texts) {
    HostList list;
    for (const std::string& text : texts) {
        if (text.starts_with('@')) {
            AddHostsOfFile(list, text.substr(1));
        } else {
            AddHosts(list, text, "--host: ");
        }
        if (!list.wrong.empty()) {
            return list;
        }
    }
    if (list.hosts.empty() && !texts.empty()) {
        list.wrong = "--host: no machine is named; the form is " + std::string(s_form);
    }
    for (Host& host : list.hosts) {
        const auto isNamed = [&](const Host& other) { return other.name == host.name; };
        host.label = std::count_if(list.hosts.begin(), list.hosts.end(), isNamed) > 1 ? host.Text() : host.name;
    }
    return list;
}

std::optional<std::pair<std::string, std::string>> SplitHostPath(std::string_view text) {
    const std::size_t slash = text.find('/');
    if (slash == std::string_view::npos || slash < 2 || text[slash - 1] != ':') {
        return std::nullopt;
    }
    return std::pair(std::string(text.substr(0, slash - 1)), std::string(text.substr(slash)));
}

} // namespace MdpCommand
