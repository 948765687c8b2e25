#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Names of other machines on a command line.

namespace MdpCommand {

// A machine as ssh(1) is told of it.
struct Host {
    std::string user; // empty: ssh decides
    std::string name; // a name, an alias of ssh's configuration or an address; an IPv6 one without brackets
    std::string port; // empty: ssh decides
    // How it is called towards the user: by its name alone where that is enough to tell it from the others.
    std::string label = {};

    // [USER@]NAME[:PORT], an IPv6 address with a port in brackets.
    std::string Text() const;

    bool IsSame(const Host& other) const { return user == other.user && name == other.name && port == other.port; }
};

// [USER@]HOST[:PORT] or ssh://[USER@]HOST[:PORT]; nothing for what no machine can be called, so that no text becomes an
// option or more than one word of ssh.
std::optional<Host> ParseHost(std::string_view text);

struct HostList {
    std::vector<Host> hosts; // each once, in the order in which they are named first
    std::string wrong;       // what is wrong with the texts, or nothing
};

// Of each text: names with commas between, or @FILE, which holds one a line, and comments behind '#'.
HostList ParseHosts(const std::vector<std::string>& texts);

// HOST:/path taken apart into both, as scp(1) does it; nothing for a text that has no such form.
std::optional<std::pair<std::string, std::string>> SplitHostPath(std::string_view text);

} // namespace MdpCommand
